#include "RecorderProcess.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

extern char** environ;

namespace
{

int spawn(const std::vector<std::string>& arguments, int outFd, int errFd)
{
    std::vector<char*> argv = {const_cast<char*>(RECORDER_PROGRAM)};
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outFd, STDOUT_FILENO);
    if (errFd >= 0) {
        posix_spawn_file_actions_adddup2(&actions, errFd, STDERR_FILENO);
    }
    pid_t pid = -1;
    const int error = posix_spawn(&pid, RECORDER_PROGRAM, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error) {
        throw std::runtime_error("cannot start " RECORDER_PROGRAM);
    }
    return pid;
}

std::string readAll(int fd)
{
    std::string text;
    char buffer[4096];
    for (ssize_t got; (got = read(fd, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(got));
    }
    return text;
}

std::string readLine(int fd)
{
    std::string line;
    pollfd waiting{fd, POLLIN, 0};
    while (line.find('\n') == std::string::npos && poll(&waiting, 1, 60000) == 1) {
        char buffer[1024];
        const ssize_t got = read(fd, buffer, sizeof(buffer));
        if (got <= 0) {
            break;
        }
        line.append(buffer, static_cast<size_t>(got));
    }
    return line;
}

} // namespace

Finished runRecorder(const std::vector<std::string>& arguments)
{
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe");
    }
    const int pid = spawn(arguments, out[1], err[1]);
    close(out[1]);
    close(err[1]);
    Finished done;
    done.out = readAll(out[0]);
    done.err = readAll(err[0]);
    close(out[0]);
    close(err[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    done.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return done;
}

RecorderProcess::RecorderProcess(const std::vector<std::string>& more)
{
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe");
    }
    std::vector<std::string> arguments = {"--http-port", "0",      "--rtsp-port", "0",           "--channels",
                                          "2",           "--main", "640x360",     "--sub",       "320x176",
                                          "--codec",     "h264",   "--cache",     RECORDER_CACHE};
    arguments.insert(arguments.end(), more.begin(), more.end());
    m_pid = spawn(arguments, out[1], -1);
    close(out[1]);
    m_outFd = out[0];
    const std::string line = readLine(m_outFd);
    Json::Value ready;
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    if (!reader->parse(line.data(), line.data() + line.size(), &ready, &errors)) {
        throw std::runtime_error("the recorder did not get ready: " + line);
    }
    m_http = ready["http"].asInt();
    m_rtsp = ready["rtsp"].asInt();
    m_replay = ready["replay"].asInt();
    m_channels = ready["channels"].asInt();
    m_serial = ready["serial"].asString();
}

RecorderProcess::~RecorderProcess()
{
    kill(m_pid, SIGTERM);
    int status = -1;
    waitpid(m_pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the recorder died, status " << status;
    close(m_outFd);
}

bool RecorderProcess::alive() const
{
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
}

std::string RecorderProcess::http(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(m_http) + path;
}

std::string RecorderProcess::rtsp(int channel, int stream, const std::string& user) const
{
    return "rtsp://" + user + "@127.0.0.1:" + std::to_string(m_rtsp) + "/live/" + std::to_string(channel) + "/" +
           std::to_string(stream);
}

std::string RecorderProcess::replay(int channel, const std::string& parameters, const std::string& user) const
{
    return "rtsp://" + user + "@127.0.0.1:" + std::to_string(m_replay) + "/replay/" + std::to_string(channel) + "?" +
           parameters;
}
