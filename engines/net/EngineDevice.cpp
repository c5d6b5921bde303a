// The engine's part for settings, abilities, commands, files and firmware.
#include "Engine.h"

#include "Sending.h"
#include "Upgrade.h"
#include "UploadFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace lumo::net
{
namespace
{

constexpr const char* kTalkAbility = "ChannelSystemFunction@SupportIPCTalk";

/// {"Name":N,N:[1,0,...],"Ret":100}
std::string talkAbilityText(const std::vector<bool>& talks)
{
    std::string list;
    for (const bool talk : talks)
        list += list.empty() ? (talk ? "1" : "0") : (talk ? ",1" : ",0");
    const std::string name = std::string("\"") + kTalkAbility + "\"";
    return "{\"Name\":" + name + "," + name + ":[" + list + "],\"Ret\":100}";
}

template <typename Record> std::vector<uint8_t> bytesOf(const Record& record)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    return {bytes, bytes + sizeof record};
}

int talkRecord(Device& device, int timeoutMs, std::vector<uint8_t>& record)
{
    std::vector<bool> talks;
    if (const int error = device.talkList(timeoutMs, talks))
        return error;
    LumoTalkInfo info{};
    info.nTalkRefused[0] = std::find(talks.begin(), talks.end(), true) == talks.end() ? 1 : 0;
    info.byAudioParam = uint8_t(AudioCodec::ALaw);
    record = bytesOf(info);
    return 0;
}

int versionRecord(const Device& device, int timeoutMs, std::vector<uint8_t>& record)
{
    if (!device.commands())
        return LUMONET_ERR_UNSUPPORTED;
    FirmwareVersion version;
    if (const int error = device.commands()->newestVersion(timeoutMs, device.cancelFlag(), version))
        return error;
    LumoVersionInfo info{};
    info.nCount = version.count;
    std::snprintf(info.szVersion, sizeof info.szVersion, "%s", version.version.c_str());
    std::snprintf(info.szBuildDate, sizeof info.szBuildDate, "%s", version.buildDate.c_str());
    record = bytesOf(info);
    return 0;
}

} // namespace

int Engine::readConfig(int login, int number, int timeoutMs, std::vector<uint8_t>& record)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    if (number == LUMO_CONFIG_TALK)
        return talkRecord(*device, timeoutMs, record);
    if (number == LUMO_CONFIG_VERSION)
        return versionRecord(*device, timeoutMs, record);
    return LUMONET_ERR_UNSUPPORTED;
}

/// Settings are put back as a whole. Both requests together have the caller's time.
int Engine::writeConfig(int login, int number, const std::string& bytes, int timeoutMs)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    if (number != LUMO_CONFIG_IMPORT)
        return LUMONET_ERR_UNSUPPORTED;
    const int64_t until = IoLoop::nowMs() + (timeoutMs > 0 ? timeoutMs : m_timings.requestMs);
    OnvifUpload to;
    error = device->startUpload("StartSystemRestore", int(until - IoLoop::nowMs()), to);
    if (error != 0)
        return error == LUMONET_ERR_BUSY ? int(LUMONET_ERR_REFUSED) : error;
    HttpUpload upload = uploadOf(bytes, m_timings);
    upload.limitMs = int(std::max<int64_t>(until - IoLoop::nowMs(), 1));
    return device->sendUpload(to.url, upload, device->cancelFlag());
}

int Engine::readAbility(int login, const JsonQuestion& question, std::string& answer)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    error = LUMONET_ERR_UNSUPPORTED;
    if (device->commands())
        error = device->commands()->ability(question, device->cancelFlag(), answer);
    if (error != LUMONET_ERR_UNSUPPORTED || question.name != kTalkAbility)
        return error;
    std::vector<bool> talks;
    error = device->talkList(question.timeoutMs, talks);
    answer = talkAbilityText(talks);
    return error;
}

int Engine::hasAbility(int login, const std::string& path, bool& has)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    return error != 0 ? error : device->hasAbility(path, has);
}

int Engine::command(int login, const JsonQuestion& question, std::string& answer)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    if (!device->commands())
        return LUMONET_ERR_UNSUPPORTED;
    return device->commands()->command(question, device->cancelFlag(), answer);
}

int Engine::sendFile(int login, const std::string& path, LumoSendFileCallback fnEnd, intptr_t user)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    if (!device->commands())
        return LUMONET_ERR_UNSUPPORTED;
    const auto file = UploadFile::open(path);
    if (!file)
        return LUMONET_ERR_ARGUMENT;
    return openTransfer(login, m_sendHandles, [&](int handle, const std::shared_ptr<Device>& d) {
        const auto run = [d, upload = UploadFile::upload(file, m_timings)](std::shared_ptr<const std::atomic<bool>> c) {
            return d->commands()->sendFile(upload, c);
        };
        return std::make_shared<Sending>(handle, m_timings.handleReturnMs, fnEnd, user, run,
                                         [this](int ended) { post([this, ended] { reap(ended); }); });
    });
}

/// A transfer that nobody closes is let go once its callback is over. On the worker's thread.
void Engine::reap(int handle)
{
    stopTransfer(handle, m_sendHandles);
}

int Engine::closeSendFile(int handle)
{
    return stopTransfer(handle, m_sendHandles);
}

int Engine::startLocalUpgrade(int login, const std::string& path, LumoUpgradeCallback fnProgress, intptr_t user)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    const auto file = UploadFile::open(path);
    if (!file)
        return LUMONET_ERR_ARGUMENT;
    OnvifUpload to;
    error = device->startUpload("StartFirmwareUpgrade", 0, to);
    if (error != 0)
        return error;
    return openTransfer(login, m_upgradeHandles, [&](int handle, const std::shared_ptr<Device>& d) {
        const auto send = [d](const std::string& url, const HttpUpload& upload,
                              std::shared_ptr<const std::atomic<bool>> cancel) {
            return d->sendUpload(url, upload, std::move(cancel));
        };
        return std::make_shared<Upgrade>(login, handle, m_timings.handleReturnMs, fnProgress, user,
                                         uploadFirmware(to, UploadFile::upload(file, m_timings), send));
    });
}

int Engine::startOnlineUpgrade(int login, const std::string& version, LumoUpgradeCallback fnProgress, intptr_t user)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    if (!device->commands())
        return LUMONET_ERR_UNSUPPORTED;
    error = device->commands()->startUpgrade(version, device->cancelFlag());
    if (error != 0)
        return error;
    return openTransfer(login, m_upgradeHandles, [&](int handle, const std::shared_ptr<Device>& d) {
        const auto look = [d](std::shared_ptr<const std::atomic<bool>> cancel, UpgradeProgress& progress) {
            return d->commands()->upgradeProgress(cancel, progress);
        };
        return std::make_shared<Upgrade>(login, handle, m_timings.handleReturnMs, fnProgress, user,
                                         watchUpgrade(look, m_timings));
    });
}

int Engine::upgradeState(int handle)
{
    const auto upgrade = transferOf<Upgrade>(handle);
    return upgrade ? upgrade->state() : int(LUMO_UPGRADE_FAILED);
}

int Engine::closeUpgrade(int handle)
{
    return stopTransfer(handle, m_upgradeHandles);
}

} // namespace lumo::net
