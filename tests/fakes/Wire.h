// The line between a recording library and the conversation runner: a loopback TCP connection, one line per fact.
//
//   library -> runner   hello LIBRARY                  once, first
//                       call ID THREAD NAME [JSON,...] a call of the process; the caller waits for the answer
//                       done RAISE RESULT              a callback has returned; RESULT is "none" if nobody was
//                       registered fault TEXT                     the process broke the contract; the library aborts it
//   runner -> library   ret ID VALUE KEY=TEXT ...      the scripted answer (TEXT is percent-encoded)
//                       raise RAISE KIND KEY=TEXT ...  raise a callback on the library's own thread
//
// The runner's port stands in the environment variable LUMO_FAKE_PORT.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace fakes
{

/// Builds the JSON list of a call's arguments.
class Args
{
public:
    Args& number(long long value);
    Args& real(double value);
    /// Text as the process gave it; bytes that are no UTF-8 are written as Latin-1 characters.
    Args& text(std::string_view value);
    /// A path in the local 8-bit encoding.
    Args& path(std::string_view value);
    Args& raw(std::string_view json);
    std::string json() const { return "[" + m_json + "]"; }

private:
    void comma();
    std::string m_json;
};

using Fields = std::map<std::string, std::string>;

/// What the runner scripted for one call.
struct Answer {
    double value = 0;
    Fields fields;
    int result() const { return static_cast<int>(value); }
    std::string text(const std::string& key) const;
    int number(const std::string& key, int fallback = 0) const;
};

/// One connection per library. Never destroyed: the library's threads outlive the end of main.
class Wire
{
public:
    /// Called on the library's own thread for each raise; returns the callback's result, or none.
    using Raise = std::function<std::string(const std::string& kind, const Fields&)>;

    Wire(const char* library, Raise raise);
    /// Called when the answer has been read, before any later line of the runner is: a callback that the script raises
    /// right after the answer finds what the call has made.
    using OnAnswer = std::function<void(const Answer&)>;
    /// Tells the runner and waits for its answer. Any thread.
    Answer call(const char* name, const Args& args, OnAnswer onAnswer = {});
    /// The process did what a correct caller never does: tells the runner why and aborts. Any thread.
    [[noreturn]] void fault(const std::string& why);

private:
    struct State;
    State* m_state;
};

} // namespace fakes
