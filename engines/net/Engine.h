// All that LumoNet holds: handles, logins, streams, transfers, and the threads behind them.
//
//   I/O loop    all sockets of all streams; data callbacks
//   watchdog    one cheap request per login and period; disconnect callbacks
//   worker      requests that nobody waits for (key frames)
// and one for each playback, download, file, upgrade and login with alarms; two for each talk.
//
// Thread: every call from any. m_mutex guards the tables only and is never held while a device is asked or a
// callback runs.
#pragma once

#include "Device.h"
#include "Discovery.h"
#include "Playback.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

namespace lumo::net
{

class Engine
{
public:
    Engine(const Timings& timings, DiscoveryOptions discovery, LumoDisconnectCallback fn, void* user);
    ~Engine(); // ends every login

    // Each returns a handle, or LUMONET_ERROR.
    int login(const std::string& address, int port, const std::string& user, const std::string& password, int kind,
              NetDeviceInfo& info);
    int loginByToken(const std::string& serial, const std::string& token, NetDeviceInfo& info);
    int realPlay(int login, const StreamOpenInfo& wanted);
    int playBackByName(int login, const RecordFileInfo& info, const Playback::Callbacks& callbacks);
    int playBackByTime(int login, const RecordTimeInfo& info, const Playback::Callbacks& callbacks);
    int startDownload(int login, const RecordFileInfo& info, const std::string& path, LumoPositionCallback position,
                      intptr_t user);
    /// channel: also Device::kAllChannels or kDeviceItself.
    int startTalk(int login, int channel, LumoVoiceCallback voice, intptr_t user);
    int sendFile(int login, const std::string& path, LumoSendFileCallback fnEnd, intptr_t user);
    int startLocalUpgrade(int login, const std::string& path, LumoUpgradeCallback fnProgress, intptr_t user);
    int startOnlineUpgrade(int login, const std::string& version, LumoUpgradeCallback fnProgress, intptr_t user);

    // Each returns 0 or LUMONET_ERROR.
    int logout(int login);
    void logoutAll();
    int checkLogin(int login);
    int stopRealPlay(int stream);
    int requestKeyFrame(int login, int channel, int streamNumber);
    int setCallback(int stream, LumoRealDataCallback fn, intptr_t user);
    int setCallbackV2(int stream, LumoRealDataCallback_V2 fn, intptr_t user);
    int removeCallback(int stream);
    int removeCallbackV2(int stream);
    int controlPlayback(int playback, int action, int value);
    int stopPlayback(int playback);
    int stopDownload(int download);
    int sendSpeech(int talk, const uint8_t* frame, size_t size);
    int stopTalk(int talk);
    int readConfig(int login, int number, int timeoutMs, std::vector<uint8_t>& record);
    int writeConfig(int login, int number, const std::string& bytes, int timeoutMs);
    int readAbility(int login, const JsonQuestion& question, std::string& answer);
    int hasAbility(int login, const std::string& path, bool& has);
    int command(int login, const JsonQuestion& question, std::string& answer);
    int closeSendFile(int transfer);
    int closeUpgrade(int upgrade);
    /// Also when they are open.
    int openMessages(int login);

    /// LUMO_UPGRADE_...
    int upgradeState(int upgrade);

private:
    struct Login {
        std::shared_ptr<Device> device;
        int failures = 0;      // in a row
        int64_t nextCheck = 0; // when the watchdog asks again
        std::set<int> streams;
        bool alarms = false; // its messages are open
    };
    struct Stream {
        std::shared_ptr<LiveStream> live;
        int login = 0;
    };
    struct RunningTransfer {
        std::shared_ptr<Transfer> transfer;
        int login = 0;
    };
    /// Handles of one kind: they count up, and come round without taking one that is in use.
    class HandleRow
    {
    public:
        explicit HandleRow(int base) : m_base(base) {}
        template <typename Map> int next(const Map& used)
        {
            do {
                m_count = m_count % 0xFFFF + 1;
            } while (used.count(m_base + m_count));
            return m_base + m_count;
        }

        bool owns(int handle) const { return handle > m_base && handle <= m_base + 0xFFFF; }

    private:
        const int m_base;
        int m_count = 0;
    };

    int adopt(std::shared_ptr<Device> device);
    int loginBySerial(const std::string& serial, OnvifPeer peer, NetDeviceInfo& info);
    std::shared_ptr<Device> deviceOf(int login, int& error);
    std::shared_ptr<LiveStream> streamOf(int stream);
    void closeStreams(int login);
    int openTransfer(
        int login, HandleRow& row,
        const std::function<std::shared_ptr<Transfer>(int handle, const std::shared_ptr<Device>& device)>& make);
    int findSpan(const std::shared_ptr<Device>& device, int channel, const std::string& recording, ReplaySpan& span);
    int playBack(int login, ReplaySpan span, const Playback::Callbacks& callbacks);
    template <typename Kind> std::shared_ptr<Kind> transferOf(int handle)
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_transfers.find(handle);
        return found == m_transfers.end() ? nullptr : std::dynamic_pointer_cast<Kind>(found->second.transfer);
    }
    int stopTransfer(int handle, const HandleRow& row);
    void closeTransfers(int login);
    void reap(int handle);
    void watch();
    void check(int handle, const std::shared_ptr<Device>& device);
    void declareLost(int handle, const std::shared_ptr<Device>& device);
    void work();
    void post(std::function<void()> task);

    const Timings m_timings;
    const DiscoveryOptions m_discovery;
    const LumoDisconnectCallback m_disconnect;
    void* const m_disconnectUser;
    std::atomic<bool> m_stop{false};

    std::mutex m_mutex;
    std::map<int, Login> m_logins;              // m_mutex
    std::map<int, Stream> m_streams;            // m_mutex
    std::map<int, RunningTransfer> m_transfers; // m_mutex
    HandleRow m_loginHandles{0x10000}, m_streamHandles{0x20000}, m_playbackHandles{0x30000}, m_downloadHandles{0x40000},
        m_talkHandles{0x50000}, m_sendHandles{0x60000}, m_upgradeHandles{0x70000}, m_alarmHandles{0x80000};

    std::recursive_mutex m_disconnectMutex; // held while the disconnect callback runs
    std::mutex m_waitMutex;
    std::condition_variable m_waitChanged;     // watchdog and worker
    std::deque<std::function<void()>> m_tasks; // m_waitMutex

    IoLoop m_loop;
    std::thread m_watchdog, m_worker;
};

} // namespace lumo::net
