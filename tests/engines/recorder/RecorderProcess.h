// A running lumo-recorder for one test: small pictures, free ports, a cache that all tests share.
#pragma once

#include <string>
#include <vector>

struct Finished {
    int exitCode = -1;
    std::string out;
    std::string err;
};

/// Runs the recorder to its end.
Finished runRecorder(const std::vector<std::string>& arguments);

class RecorderProcess
{
public:
    /// Starts it with `more` behind the usual arguments and waits until it is ready.
    explicit RecorderProcess(const std::vector<std::string>& more = {});
    /// Ends it and waits for it; a test failure when it did not end by itself and well.
    ~RecorderProcess();
    RecorderProcess(const RecorderProcess&) = delete;
    RecorderProcess& operator=(const RecorderProcess&) = delete;

    int httpPort() const { return m_http; }
    int rtspPort() const { return m_rtsp; }
    int replayPort() const { return m_replay; }
    int channels() const { return m_channels; }
    std::string serial() const { return m_serial; }
    /// True while it runs.
    bool alive() const;

    std::string http(const std::string& path) const;
    std::string rtsp(int channel, int stream, const std::string& userAndPassword = "admin:lumo") const;
    /// parameters: "ratecontrol=no&begin=...&end=..."
    std::string replay(int channel, const std::string& parameters,
                       const std::string& userAndPassword = "admin:lumo") const;

private:
    int m_pid = -1;
    int m_outFd = -1;
    int m_http = 0, m_rtsp = 0, m_replay = 0, m_channels = 0;
    std::string m_serial;
};
