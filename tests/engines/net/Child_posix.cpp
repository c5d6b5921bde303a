#include "Child.h"

#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace lumo::net::test
{

struct Child::Impl {
    pid_t pid = -1;
    int output = -1;
};

Child::Child(const std::vector<std::string>& command) : m_impl(new Impl)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return;
    m_impl->output = ends[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    std::vector<char*> arguments;
    for (const auto& a : command)
        arguments.push_back(const_cast<char*>(a.c_str()));
    arguments.push_back(nullptr);
    if (::posix_spawn(&m_impl->pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
        m_impl->pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
}

Child::~Child()
{
    if (m_impl->pid > 0) {
        ::kill(m_impl->pid, SIGTERM);
        ::waitpid(m_impl->pid, nullptr, 0);
    }
    if (m_impl->output >= 0)
        ::close(m_impl->output);
}

std::string Child::firstLine(int timeoutMs)
{
    std::string line;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd item{m_impl->output, POLLIN, 0};
        char c;
        if (left.count() <= 0 || ::poll(&item, 1, int(left.count())) <= 0 || ::read(m_impl->output, &c, 1) != 1)
            return {};
        if (c == '\n')
            return line;
        line += c;
    }
}

bool Child::exists(const std::string& path)
{
    return ::access(path.c_str(), X_OK) == 0;
}

} // namespace lumo::net::test
