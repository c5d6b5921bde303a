#include "RtspAuth.h"

namespace
{

struct LumoAuth {
    GstRTSPAuth parent;
    lumo::recorder::Faults* faults;
    lumo::recorder::Admitted admitted;
    void* user;
};
struct LumoAuthClass {
    GstRTSPAuthClass parent;
};

G_DEFINE_TYPE(LumoAuth, lumo_auth, GST_TYPE_RTSP_AUTH)

gboolean checkRequest(GstRTSPAuth* auth, GstRTSPContext* context, const gchar* check)
{
    const auto* own = reinterpret_cast<LumoAuth*>(auth);
    const bool first = g_str_equal(check, GST_RTSP_AUTH_CHECK_URL);
    if (first) {
        own->faults->waitWhileSilent();
    }
    const gboolean passed = GST_RTSP_AUTH_CLASS(lumo_auth_parent_class)->check(auth, context, check);
    if (first && passed) {
        own->admitted(context, own->user);
    }
    return passed;
}

gboolean authenticate(GstRTSPAuth* auth, GstRTSPContext* context)
{
    if (reinterpret_cast<LumoAuth*>(auth)->faults->refusesPassword()) {
        return FALSE;
    }
    return GST_RTSP_AUTH_CLASS(lumo_auth_parent_class)->authenticate(auth, context);
}

void lumo_auth_class_init(LumoAuthClass* klass)
{
    klass->parent.check = checkRequest;
    klass->parent.authenticate = authenticate;
}

void lumo_auth_init(LumoAuth*) {}

void addUser(GstRTSPAuth* auth, const char* user, const char* password)
{
    GstRTSPToken* token =
        gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, lumo::recorder::kViewerRole, nullptr);
    gst_rtsp_auth_add_digest(auth, user, password, token);
    gst_rtsp_token_unref(token);
}

} // namespace

namespace lumo::recorder
{

GstRTSPAuth* newRtspAuth(const Options& options, Faults& faults, Admitted admitted, void* user)
{
    auto* auth = GST_RTSP_AUTH(g_object_new(lumo_auth_get_type(), nullptr));
    auto* own = reinterpret_cast<LumoAuth*>(auth);
    own->faults = &faults;
    own->admitted = admitted;
    own->user = user;
    gst_rtsp_auth_set_supported_methods(auth, GST_RTSP_AUTH_DIGEST);
    gst_rtsp_auth_set_realm(auth, "Lumo Recorder");
    addUser(auth, options.user.c_str(), options.password.c_str());
    addUser(auth, kTokenUser, kToken);
    return auth;
}

} // namespace lumo::recorder
