#include "LiveFactory.h"

#include <gst/rtsp-server/rtsp-onvif-server.h>

#include <atomic>
#include <cstdio>

namespace
{

struct Parts {
    lumo::recorder::MediaLines lines;
    std::atomic<int> age{0};
};

struct LumoFactory {
    GstRTSPOnvifMediaFactory parent;
    Parts* parts; // lives as long as the process, as the factories do
};
struct LumoFactoryClass {
    GstRTSPOnvifMediaFactoryClass parent;
};

G_DEFINE_TYPE(LumoFactory, lumo_factory, GST_TYPE_RTSP_ONVIF_MEDIA_FACTORY)

Parts& partsOf(GstRTSPMediaFactory* factory)
{
    return *reinterpret_cast<LumoFactory*>(factory)->parts;
}

bool wantsTalk(GstRTSPMediaFactory* factory)
{
    return !partsOf(factory).lines.talk.empty() &&
           gst_rtsp_onvif_media_factory_requires_backchannel(factory, gst_rtsp_context_get_current());
}

// Clients with the same key share a media. A back channel takes in one sender only, so whoever talks has a media of
// their own; the next may come before the last has said good-bye.
gchar* keyOf(GstRTSPMediaFactory* factory, const GstRTSPUrl* url)
{
    return wantsTalk(factory) ? nullptr : g_strdup_printf("%s %d", url->abspath, partsOf(factory).age.load());
}

GstElement* parsed(const std::string& line)
{
    GError* error = nullptr;
    GstElement* element = gst_parse_launch_full(line.c_str(), nullptr, GST_PARSE_FLAG_PLACE_IN_BIN, &error);
    if (error) {
        std::fprintf(stderr, "lumo-recorder: %s\n", error->message);
        g_clear_error(&error);
    }
    return element;
}

/// The media class looks for a bin of this name with a pad "sink".
GstElement* earOf(const std::string& line)
{
    GstElement* ear = parsed(line);
    GstElement* depay = ear ? gst_bin_get_by_name(GST_BIN(ear), "depay_backchannel") : nullptr;
    if (!depay) {
        return ear;
    }
    GstPad* pad = gst_element_get_static_pad(depay, "sink");
    gst_element_add_pad(ear, gst_ghost_pad_new("sink", pad));
    gst_object_unref(pad);
    gst_object_unref(depay);
    gst_object_set_name(GST_OBJECT(ear), "onvif-backchannel");
    return ear;
}

GstElement* createElement(GstRTSPMediaFactory* factory, const GstRTSPUrl* url)
{
    const Parts& parts = partsOf(factory);
    if (!wantsTalk(factory)) {
        return parsed(parts.lines.live);
    }
    GstElement* element = parsed(parts.lines.talk);
    GstElement* ear = element ? earOf(parts.lines.heard) : nullptr;
    if (ear) {
        gst_bin_add(GST_BIN(element), ear);
    }
    return element;
}

gboolean hasBackChannel(GstRTSPOnvifMediaFactory* factory)
{
    return !partsOf(GST_RTSP_MEDIA_FACTORY(factory)).lines.talk.empty();
}

void lumo_factory_class_init(LumoFactoryClass* klass)
{
    klass->parent.has_backchannel_support = hasBackChannel;
    klass->parent.parent.gen_key = keyOf;
    klass->parent.parent.create_element = createElement;
}

void lumo_factory_init(LumoFactory*) {}

} // namespace

namespace lumo::recorder
{

GstRTSPMediaFactory* newLiveFactory(const MediaLines& lines)
{
    auto* factory = GST_RTSP_MEDIA_FACTORY(g_object_new(lumo_factory_get_type(), nullptr));
    auto* parts = new Parts;
    parts->lines = lines;
    reinterpret_cast<LumoFactory*>(factory)->parts = parts;
    gst_rtsp_media_factory_set_media_gtype(factory, GST_TYPE_RTSP_ONVIF_MEDIA);
    return factory;
}

void retireMedia(GstRTSPMediaFactory* factory)
{
    ++partsOf(factory).age;
}

} // namespace lumo::recorder
