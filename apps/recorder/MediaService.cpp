// ONVIF media: the channels as video sources, two profiles each, and where their streams are.
#include "OnvifServices.h"

#include <cmath>
#include <cstdio>
#include <optional>

namespace lumo::recorder
{
namespace
{

const char* streamName(int stream)
{
    return stream == 0 ? "main" : "sub";
}

std::string profileToken(const LiveStream& s)
{
    return "profile_" + std::to_string(s.channel) + "_" + streamName(s.stream);
}

LiveStream* findProfile(OnvifContext& c, const OnvifCall& call)
{
    const std::string token = childNamed(call.soap.action, "ProfileToken").text().get();
    for (auto& stream : c.streams) {
        if (profileToken(*stream) == token) {
            return stream.get();
        }
    }
    return nullptr;
}

SoapAnswer noProfile()
{
    return soapFault("Sender", "ter:InvalidArgVal", "No such profile");
}

std::string resolution(PictureSize size)
{
    return "<tt:Resolution><tt:Width>" + std::to_string(size.width) + "</tt:Width><tt:Height>" +
           std::to_string(size.height) + "</tt:Height></tt:Resolution>";
}

std::string bounds(PictureSize size)
{
    return "<tt:Bounds x=\"0\" y=\"0\" width=\"" + std::to_string(size.width) + "\" height=\"" +
           std::to_string(size.height) + "\"/>";
}

std::string sourceConfiguration(const OnvifContext& c, const LiveStream& s)
{
    const std::string channel = std::to_string(s.channel);
    return "<tt:VideoSourceConfiguration token=\"vsc_" + channel + "\"><tt:Name>Channel " +
           std::to_string(s.channel + 1) + "</tt:Name><tt:UseCount>2</tt:UseCount><tt:SourceToken>source_" + channel +
           "</tt:SourceToken>" + bounds(c.options.mainSize) + "</tt:VideoSourceConfiguration>";
}

std::string encoderConfiguration(OnvifContext& c, const LiveStream& s)
{
    const Codec codec = c.store.codec(s.channel, s.stream);
    const int fps = static_cast<int>(std::lround(c.store.fps(s.channel, s.stream)));
    const std::string token = "vec_" + std::to_string(s.channel) + "_" + streamName(s.stream);
    return "<tt:VideoEncoderConfiguration token=\"" + token + "\"><tt:Name>" + token +
           "</tt:Name><tt:UseCount>1</tt:UseCount><tt:Encoding>" + codecName(codec) + "</tt:Encoding>" +
           resolution(c.store.size(s.channel, s.stream)) +
           "<tt:Quality>4</tt:Quality><tt:RateControl><tt:FrameRateLimit>" + std::to_string(fps) +
           "</tt:FrameRateLimit><tt:EncodingInterval>1</tt:EncodingInterval><tt:BitrateLimit>2500</tt:BitrateLimit>"
           "</tt:RateControl><tt:SessionTimeout>PT60S</tt:SessionTimeout></tt:VideoEncoderConfiguration>";
}

std::string audioConfiguration()
{
    return "<tt:AudioSourceConfiguration token=\"asc_0\"><tt:Name>Sound 1</tt:Name><tt:UseCount>2</tt:UseCount>"
           "<tt:SourceToken>audio_0</tt:SourceToken></tt:AudioSourceConfiguration>"
           "<tt:AudioEncoderConfiguration token=\"aec_0\"><tt:Name>Sound 1</tt:Name><tt:UseCount>2</tt:UseCount>"
           "<tt:Encoding>G711</tt:Encoding><tt:Bitrate>64</tt:Bitrate><tt:SampleRate>8</tt:SampleRate>"
           "<tt:SessionTimeout>PT60S</tt:SessionTimeout></tt:AudioEncoderConfiguration>";
}

/// Of a channel that has a loudspeaker.
std::string outputConfiguration(int channel)
{
    const std::string number = std::to_string(channel);
    return "<tt:Extension><tt:AudioOutputConfiguration token=\"aoc_" + number + "\"><tt:Name>Loudspeaker " +
           std::to_string(channel + 1) + "</tt:Name><tt:UseCount>2</tt:UseCount><tt:OutputToken>output_" + number +
           "</tt:OutputToken><tt:SendPrimacy>www.onvif.org/ver20/HalfDuplex/Auto</tt:SendPrimacy>"
           "<tt:OutputLevel>50</tt:OutputLevel></tt:AudioOutputConfiguration><tt:AudioDecoderConfiguration "
           "token=\"adc_" +
           number + "\"><tt:Name>Speech " + std::to_string(channel + 1) +
           "</tt:Name><tt:UseCount>2</tt:UseCount></tt:AudioDecoderConfiguration></tt:Extension>";
}

// The schema fixes the order: source configurations, then encoder configurations, then the rest.
std::string profile(OnvifContext& c, const LiveStream& s, const char* element)
{
    std::string sound = s.channel == 0 ? audioConfiguration() : "";
    std::string soundSource = sound.substr(0, sound.find("<tt:AudioEncoderConfiguration"));
    std::string soundEncoder = sound.substr(soundSource.size());
    return std::string("<trt:") + element + " token=\"" + profileToken(s) + "\" fixed=\"true\"><tt:Name>Channel " +
           std::to_string(s.channel + 1) + " " + streamName(s.stream) + "</tt:Name>" + sourceConfiguration(c, s) +
           soundSource + encoderConfiguration(c, s) + soundEncoder +
           (s.channel < c.talkers ? outputConfiguration(s.channel) : "") + "</trt:" + element + ">";
}

SoapAnswer getVideoSources(OnvifContext& c, const OnvifCall&)
{
    std::string body;
    for (auto& s : c.streams) {
        if (s->stream == 0) {
            body += "<trt:VideoSources token=\"source_" + std::to_string(s->channel) + "\"><tt:Framerate>" +
                    std::to_string(std::lround(c.store.fps(s->channel, 0))) + "</tt:Framerate>" +
                    resolution(c.store.size(s->channel, 0)) + "</trt:VideoSources>";
        }
    }
    return soapAnswer("<trt:GetVideoSourcesResponse>" + body + "</trt:GetVideoSourcesResponse>");
}

SoapAnswer getProfiles(OnvifContext& c, const OnvifCall&)
{
    std::string body;
    for (auto& s : c.streams) {
        body += profile(c, *s, "Profiles");
    }
    return soapAnswer("<trt:GetProfilesResponse>" + body + "</trt:GetProfilesResponse>");
}

SoapAnswer getProfile(OnvifContext& c, const OnvifCall& call)
{
    const LiveStream* s = findProfile(c, call);
    return s ? soapAnswer("<trt:GetProfileResponse>" + profile(c, *s, "Profile") + "</trt:GetProfileResponse>")
             : noProfile();
}

std::string mediaUri(const char* response, const std::string& uri)
{
    return std::string("<trt:") + response + "><trt:MediaUri><tt:Uri>" + xmlEscape(uri) +
           "</tt:Uri><tt:InvalidAfterConnect>false</tt:InvalidAfterConnect><tt:InvalidAfterReboot>false"
           "</tt:InvalidAfterReboot><tt:Timeout>PT0S</tt:Timeout></trt:MediaUri></trt:" +
           response + ">";
}

SoapAnswer getStreamUri(OnvifContext& c, const OnvifCall& call)
{
    const LiveStream* s = findProfile(c, call);
    return s ? soapAnswer(mediaUri("GetStreamUriResponse", "rtsp://" + call.host() + ":" + std::to_string(c.rtspPort) +
                                                               "/live/" + std::to_string(s->channel) + "/" +
                                                               std::to_string(s->stream)))
             : noProfile();
}

SoapAnswer getSnapshotUri(OnvifContext& c, const OnvifCall& call)
{
    const LiveStream* s = findProfile(c, call);
    return s ? soapAnswer(mediaUri("GetSnapshotUriResponse",
                                   "http://" + call.hostAndPort + "/snapshot/" + std::to_string(s->channel) + ".jpg"))
             : noProfile();
}

// The loop jumps to its next key frame; the numbers in the pictures tell of it.
SoapAnswer setSynchronizationPoint(OnvifContext& c, const OnvifCall& call)
{
    LiveStream* s = findProfile(c, call);
    if (!s) {
        return noProfile();
    }
    s->jumpToKey();
    return soapAnswer("<trt:SetSynchronizationPointResponse/>");
}

SoapAnswer getAudioSources(OnvifContext&, const OnvifCall&)
{
    return soapAnswer("<trt:GetAudioSourcesResponse><trt:AudioSources token=\"audio_0\"><tt:Channels>1</tt:Channels>"
                      "</trt:AudioSources></trt:GetAudioSourcesResponse>");
}

SoapAnswer getAudioOutputs(OnvifContext& c, const OnvifCall&)
{
    std::string body;
    for (int i = 0; i < c.talkers; ++i) {
        body += "<trt:AudioOutputs token=\"output_" + std::to_string(i) + "\"/>";
    }
    return soapAnswer("<trt:GetAudioOutputsResponse>" + body + "</trt:GetAudioOutputsResponse>");
}

} // namespace

const OperationTable& mediaOperations()
{
    static const OperationTable table = {
        // operation                 handler                  open without login
        {"GetVideoSources", {&getVideoSources, false}}, {"GetAudioSources", {&getAudioSources, false}},
        {"GetAudioOutputs", {&getAudioOutputs, false}}, {"GetProfiles", {&getProfiles, false}},
        {"GetProfile", {&getProfile, false}},           {"GetStreamUri", {&getStreamUri, false}},
        {"GetSnapshotUri", {&getSnapshotUri, false}},   {"SetSynchronizationPoint", {&setSynchronizationPoint, false}},
    };
    return table;
}

} // namespace lumo::recorder
