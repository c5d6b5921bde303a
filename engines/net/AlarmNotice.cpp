#include "AlarmNotice.h"

#include "Text.h"
#include "Xml.h"

#include "device/LumoNet.h"

#include <algorithm>
#include <array>
#include <optional>

namespace lumo::net
{
namespace
{

constexpr size_t kMaxTopic = 200, kMaxSource = 200; // bytes; longer ones are no device's

enum class Origin { Video, Input, Device };

struct TopicRow {
    const char* pattern; // segments without their prefixes; a star stands for any in front or behind
    int event;
    Origin origin;
};

// The number alone does not say it: the classes of what was seen do.
constexpr int kByClass = -1;

// The first match counts. Under RuleEngine and Device, devices have names of their own: there the last one tells.
constexpr TopicRow kTopics[] = {
    // topic                                   number                       told of
    {"VideoSource/MotionAlarm", LUMO_ALARM_VIDEO_MOTION, Origin::Video},
    {"RuleEngine/CellMotionDetector/*", LUMO_ALARM_VIDEO_MOTION, Origin::Video},
    {"RuleEngine/MotionRegionDetector/*", LUMO_ALARM_VIDEO_MOTION, Origin::Video},
    {"VideoSource/SignalLoss", LUMO_ALARM_VIDEO_LOSS, Origin::Video},
    {"*/VideoLoss", LUMO_ALARM_VIDEO_LOSS, Origin::Video},
    {"VideoSource/GlobalSceneChange/*", LUMO_ALARM_VIDEO_BLIND, Origin::Video},
    {"VideoSource/ImageTooDark/*", LUMO_ALARM_VIDEO_BLIND, Origin::Video},
    {"VideoSource/ImageTooBright/*", LUMO_ALARM_VIDEO_BLIND, Origin::Video},
    {"RuleEngine/TamperDetector/*", LUMO_ALARM_VIDEO_BLIND, Origin::Video},
    {"*/Tamper", LUMO_ALARM_VIDEO_BLIND, Origin::Video},
    {"VideoSource/ImageTooBlurry/*", LUMO_ALARM_VIDEO_BLUR, Origin::Video},
    {"Device/Trigger/DigitalInput", LUMO_ALARM_LOCAL_IO, Origin::Input},
    {"Device/HardwareFailure/StorageFailure", LUMO_ALARM_STORAGE_FAILURE, Origin::Device},
    {"*/DiskError", LUMO_ALARM_STORAGE_FAILURE, Origin::Device},
    {"*/StorageNotExist", LUMO_ALARM_STORAGE_NO_DISK, Origin::Device},
    {"*/StorageLowSpace", LUMO_ALARM_STORAGE_LOW, Origin::Device},
    {"*/DiskFull", LUMO_ALARM_STORAGE_LOW, Origin::Device},
    {"Device/Network/Lost", LUMO_ALARM_NET_ABORT, Origin::Device},
    {"*/NetworkFailure", LUMO_ALARM_NET_ABORT, Origin::Device},
    {"*/EthernetBroken", LUMO_ALARM_NET_ABORT, Origin::Device},
    {"*/AddressConflict", LUMO_ALARM_NET_IP_CONFLICT, Origin::Device},
    {"*/IPConflict", LUMO_ALARM_NET_IP_CONFLICT, Origin::Device},
    {"*/LoginFailed", LUMO_ALARM_LOGIN_FAILED, Origin::Device},
    {"RuleEngine/Recognition/Face", LUMO_ALARM_FACE_RECOGNISED, Origin::Video},
    {"RuleEngine/Recognition/LicensePlate", LUMO_ALARM_PLATE, Origin::Video},
    {"RuleEngine/ObjectDetection/*", kByClass, Origin::Video},
    {"*/FaceDetect", LUMO_ALARM_FACE, Origin::Video},
    {"*/HumanDetect", LUMO_ALARM_HUMAN, Origin::Video},
    {"*/HumanShapeDetect", LUMO_ALARM_HUMAN, Origin::Video},
    {"*/PeopleDetect", LUMO_ALARM_HUMAN, Origin::Video},
    {"RuleEngine/*", LUMO_ALARM_VIDEO_ANALYZE, Origin::Video},
};

struct ClassRow {
    const char* name;
    int event;
};
constexpr ClassRow kClasses[] = {
    {"Human", LUMO_ALARM_HUMAN},
    {"Face", LUMO_ALARM_FACE},
    {"LicensePlate", LUMO_ALARM_PLATE},
};

/// "a:b/c:d" as "b/d": prefixes are the device's own choice.
std::string pathOfTopic(std::string_view topic)
{
    std::string path;
    for (std::string_view segment : split(trim(topic), '/')) {
        if (const size_t colon = segment.rfind(':'); colon != std::string_view::npos)
            segment.remove_prefix(colon + 1);
        path += path.empty() ? "" : "/";
        path += trim(segment);
    }
    return path;
}

bool matches(std::string_view pattern, std::string_view path)
{
    if (pattern.starts_with("*/")) {
        pattern.remove_prefix(1);
        return path.size() > pattern.size() && sameText(path.substr(path.size() - pattern.size()), pattern);
    }
    if (!pattern.ends_with("/*"))
        return sameText(pattern, path);
    pattern.remove_suffix(2);
    const bool begins = sameText(path.substr(0, pattern.size()), pattern);
    return begins && (path.size() == pattern.size() || path[pattern.size()] == '/');
}

const TopicRow* rowOf(std::string_view topic)
{
    if (topic.size() > kMaxTopic)
        return nullptr;
    const std::string path = pathOfTopic(topic);
    for (const TopicRow& row : kTopics)
        if (matches(row.pattern, path))
            return &row;
    return nullptr;
}

/// The items of a message's Source or Data, in order.
std::vector<std::pair<std::string, std::string>> itemsOf(const pugi::xml_node& list)
{
    std::vector<std::pair<std::string, std::string>> items;
    for (const auto& node : list.children())
        if (xml::localName(node) == "SimpleItem")
            items.emplace_back(node.attribute("Name").value(), node.attribute("Value").value());
    return items;
}

/// Words say it under any name; numbers under the names of states only, for they could count something.
std::optional<bool> boolOf(const std::string& name, const std::string& value)
{
    const std::string word = lower(trim(value));
    if (word == "true" || word == "active")
        return true;
    if (word == "false" || word == "inactive")
        return false;
    const bool state = sameText(name, "State") || sameText(name, "LogicalState") || lower(name).starts_with("is");
    if (state && (word == "1" || word == "0"))
        return word == "1";
    return std::nullopt;
}

int channelOf(const std::vector<std::pair<std::string, std::string>>& source, Origin origin,
              const AlarmSources& sources)
{
    if (origin == Origin::Device)
        return 0;
    const auto& known = origin == Origin::Input ? sources.inputs : sources.channels;
    for (const auto& [name, value] : source)
        if (const auto found = known.find(value); found != known.end())
            return found->second;
    // A device with one channel need not say which.
    return source.empty() || known.empty() ? 0 : -1;
}

AlarmNotice::State stateOf(std::optional<bool> on)
{
    return !on ? AlarmNotice::State::Pulse : *on ? AlarmNotice::State::On : AlarmNotice::State::Off;
}

/// Whether a class stands in a list like "Human Face".
bool names(std::string_view list, const char* wanted)
{
    const auto words = split(list, ' ');
    return std::any_of(words.begin(), words.end(), [&](std::string_view w) { return sameText(trim(w), wanted); });
}

} // namespace

int eventOfTopic(std::string_view topic)
{
    const TopicRow* row = rowOf(topic);
    return !row ? 0 : row->event == kByClass ? int(LUMO_ALARM_VIDEO_ANALYZE) : row->event;
}

void readNotice(const pugi::xml_node& node, const AlarmSources& sources, std::vector<AlarmNotice>& notices)
{
    const std::string topic(trim(xml::text(xml::child(node, "Topic"))));
    const TopicRow* row = rowOf(topic);
    if (!row)
        return;
    const auto outer = xml::child(node, "Message");
    const auto inner = xml::child(outer, "Message");
    const auto& message = inner ? inner : outer;
    const std::string operation = message.attribute("PropertyOperation").value();
    const auto source = itemsOf(xml::child(message, "Source")), data = itemsOf(xml::child(message, "Data"));
    AlarmNotice notice;
    notice.event = row->event;
    notice.channel = channelOf(source, row->origin, sources);
    notice.told = sameText(operation, "Initialized");
    notice.key = topic;
    for (const auto& [name, value] : source)
        notice.key += "|" + value;
    if (notice.key.size() > kMaxTopic + kMaxSource)
        return;
    std::optional<bool> on;
    const std::string* classes = nullptr;
    for (const auto& [name, value] : data) {
        if (sameText(name, "ClassTypes"))
            classes = &value;
        if (!on)
            on = boolOf(name, value);
    }
    const bool gone = sameText(operation, "Deleted");
    if (gone)
        on = false;
    if (row->event == kByClass && (classes || gone)) {
        for (const ClassRow& c : kClasses) {
            AlarmNotice seen = notice;
            seen.event = c.event;
            seen.key += "|" + lower(c.name);
            seen.state = stateOf(classes && !gone && names(*classes, c.name));
            seen.told = seen.told || seen.state == AlarmNotice::State::Off; // most of them were never seen
            notices.push_back(std::move(seen));
        }
        return;
    }
    if (row->event == kByClass)
        notice.event = LUMO_ALARM_VIDEO_ANALYZE;
    notice.state = stateOf(on);
    if (notice.state == AlarmNotice::State::Pulse && notice.told)
        return; // something without a state that once was: nothing happens now
    notices.push_back(std::move(notice));
}

} // namespace lumo::net
