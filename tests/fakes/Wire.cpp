#include "Wire.h"

#include "Socket.h"
#include "common/LocalText.h"

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace fakes
{
namespace
{

bool isUtf8(std::string_view s)
{
    size_t i = 0;
    while (i < s.size()) {
        const auto c = static_cast<unsigned char>(s[i]);
        const size_t more = c < 0x80 ? 0 : (c & 0xE0) == 0xC0 ? 1 : (c & 0xF0) == 0xE0 ? 2 : (c & 0xF8) == 0xF0 ? 3 : 9;
        if (more == 9 || i + more >= s.size()) {
            return false;
        }
        for (size_t k = 1; k <= more; ++k) {
            if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) {
                return false;
            }
        }
        i += more + 1;
    }
    return true;
}

void appendQuoted(std::string& out, std::string_view s)
{
    const bool utf8 = isUtf8(s);
    char buffer[8];
    out += '"';
    for (const char ch : s) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += ch;
        } else if (c < 0x20 || (c >= 0x80 && !utf8)) {
            std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
            out += buffer;
        } else {
            out += ch;
        }
    }
    out += '"';
}

std::string percentDecoded(std::string_view s)
{
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size()) {
            out += static_cast<char>(std::strtol(std::string(s.substr(i + 1, 2)).c_str(), nullptr, 16));
            i += 2;
        } else {
            out += s[i];
        }
    }
    return out;
}

/// Takes the next word off the line.
std::string word(std::string_view& line)
{
    const size_t end = line.find(' ');
    const std::string result(line.substr(0, end));
    line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
    return result;
}

Fields fieldsOf(std::string_view line)
{
    Fields fields;
    while (!line.empty()) {
        const std::string pair = word(line);
        const size_t equals = pair.find('=');
        if (equals != std::string::npos) {
            fields[pair.substr(0, equals)] = percentDecoded(std::string_view(pair).substr(equals + 1));
        }
    }
    return fields;
}

[[noreturn]] void giveUp(const char* library, const std::string& why)
{
    std::fprintf(stderr, "recording library %s: %s\n", library, why.c_str());
    std::fflush(stderr);
    std::abort();
}

} // namespace

void Args::comma()
{
    if (!m_json.empty()) {
        m_json += ',';
    }
}

Args& Args::number(long long value)
{
    comma();
    m_json += std::to_string(value);
    return *this;
}

Args& Args::real(double value)
{
    comma();
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.9g", value);
    m_json += buffer;
    return *this;
}

Args& Args::text(std::string_view value)
{
    comma();
    appendQuoted(m_json, value);
    return *this;
}

Args& Args::path(std::string_view value)
{
    return text(lumo::utf8OfLocal(std::string(value)));
}

Args& Args::raw(std::string_view json)
{
    comma();
    m_json += json;
    return *this;
}

std::string Answer::text(const std::string& key) const
{
    const auto it = fields.find(key);
    return it == fields.end() ? std::string() : it->second;
}

int Answer::number(const std::string& key, int fallback) const
{
    const auto it = fields.find(key);
    return it == fields.end() ? fallback : std::atoi(it->second.c_str());
}

struct Wire::State {
    const char* library = "";
    Raise raise;
    SocketHandle socket = kNoSocket;

    std::mutex sendMutex;
    std::mutex mutex; // guards all below
    std::condition_variable changed;
    unsigned long long nextCall = 1;
    std::map<unsigned long long, Answer> answers;
    std::map<unsigned long long, OnAnswer> waiting;
    std::deque<std::string> raises;

    void send(std::string line)
    {
        line += '\n';
        const std::lock_guard lock(sendMutex);
        sendAll(socket, line.data(), line.size());
    }
    void read();
    void onLine(std::string_view line);
    void runRaises();
};

/// The runner's end closes only when the conversation is over or has failed: the process must not outlive it.
void Wire::State::read()
{
    std::string buffer;
    char block[4096];
    for (;;) {
        const long got = receiveSome(socket, block, sizeof block);
        if (got <= 0) {
            std::_Exit(97);
        }
        buffer.append(block, static_cast<size_t>(got));
        for (size_t end; (end = buffer.find('\n')) != std::string::npos; buffer.erase(0, end + 1)) {
            onLine(std::string_view(buffer).substr(0, end));
        }
    }
}

void Wire::State::onLine(std::string_view line)
{
    const std::string verb = word(line);
    if (verb == "ret") {
        const auto id = std::strtoull(word(line).c_str(), nullptr, 10);
        Answer answer;
        answer.value = std::strtod(word(line).c_str(), nullptr);
        answer.fields = fieldsOf(line);
        OnAnswer onAnswer;
        {
            const std::lock_guard lock(mutex);
            onAnswer = std::move(waiting[id]);
            waiting.erase(id);
        }
        if (onAnswer) {
            onAnswer(answer);
        }
        const std::lock_guard lock(mutex);
        answers[id] = answer;
    } else if (verb == "raise") {
        const std::lock_guard lock(mutex);
        raises.emplace_back(line);
    }
    changed.notify_all();
}

void Wire::State::runRaises()
{
    for (;;) {
        std::string line;
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [this] { return !raises.empty(); });
            line = raises.front();
            raises.pop_front();
        }
        std::string_view rest = line;
        const std::string id = word(rest);
        const std::string kind = word(rest);
        send("done " + id + " " + raise(kind, fieldsOf(rest)));
    }
}

Wire::Wire(const char* library, Raise raise) : m_state(new State)
{
    m_state->library = library;
    m_state->raise = std::move(raise);
    const char* port = std::getenv("LUMO_FAKE_PORT");
    if (!port) {
        giveUp(library, "LUMO_FAKE_PORT is not set: this library only works under the conversation runner");
    }
    m_state->socket = connectLoopback(static_cast<uint16_t>(std::atoi(port)));
    if (m_state->socket == kNoSocket) {
        giveUp(library, "the conversation runner does not answer");
    }
    m_state->send(std::string("hello ") + library);
    std::thread([s = m_state] { s->read(); }).detach();
    std::thread([s = m_state] { s->runRaises(); }).detach();
}

Answer Wire::call(const char* name, const Args& args, OnAnswer onAnswer)
{
    unsigned long long id = 0;
    {
        const std::lock_guard lock(m_state->mutex);
        id = m_state->nextCall++;
        m_state->waiting[id] = std::move(onAnswer);
    }
    const size_t thread = std::hash<std::thread::id>()(std::this_thread::get_id());
    m_state->send("call " + std::to_string(id) + " " + std::to_string(thread) + " " + name + " " + args.json());
    std::unique_lock lock(m_state->mutex);
    m_state->changed.wait(lock, [&] { return m_state->answers.count(id) != 0; });
    Answer answer = m_state->answers[id];
    m_state->answers.erase(id);
    return answer;
}

void Wire::fault(const std::string& why)
{
    m_state->send("fault " + why);
    giveUp(m_state->library, why);
}

} // namespace fakes
