// A stand-in for a program beside the one under test: NAME ARGUMENT... does what the file NAME.steps beside it says,
// which the runner wrote. The first start does its first line, the second one the next; the last line serves all
// further.
//
// A line ends with the ASCII record separator, a word with the unit separator. Steps: see "program" in README.md.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace fs = std::filesystem;

namespace
{

constexpr char kRecordEnd = '\x1e';
constexpr char kUnitEnd = '\x1f';

using Line = std::vector<std::string>;

std::vector<Line> linesOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::vector<Line> lines(1);
    std::string word;
    for (const char c : text) {
        if (c == kUnitEnd) {
            lines.back().push_back(word);
            word.clear();
        } else if (c == kRecordEnd) {
            lines.emplace_back();
        } else {
            word += c;
        }
    }
    lines.pop_back();
    return lines;
}

/// 0 for the first start, and so on: each takes the next folder that is not there yet.
size_t numberOfStart(const fs::path& folder)
{
    for (size_t i = 0;; ++i) {
        if (fs::create_directory(folder / ("start" + std::to_string(i)))) {
            return i;
        }
    }
}

/// %1 to %9: the arguments, %d: the folder of the program, with "/" between its parts.
std::string filled(const std::string& text, const fs::path& folder, int argc, char* argv[])
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const char what = text[++i];
        if (what == 'd') {
            const auto name = folder.generic_u8string();
            out.append(name.begin(), name.end());
        } else if (what - '0' < argc) {
            out += argv[what - '0'];
        }
    }
    return out;
}

void waitFor(const fs::path& file)
{
    while (!fs::exists(file)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2)); // between two looks
    }
}

[[noreturn]] void die()
{
#ifdef _WIN32
    std::_Exit(int(0xC0000005)); // how an access violation ends a process
#else
    std::raise(SIGKILL);
    std::abort();
#endif
}

} // namespace

int main(int argc, char* argv[])
{
#ifdef _WIN32
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    const fs::path program = fs::absolute(argv[0]);
    const fs::path folder = program.parent_path();
    const std::vector<Line> lines = linesOf(folder / (program.stem().string() + ".steps"));
    if (lines.empty()) {
        std::fputs("there is nothing to do\n", stderr);
        return 98;
    }
    const Line& steps = lines[std::min(numberOfStart(folder), lines.size() - 1)];
    const auto text = [&](size_t i) { return filled(steps.at(i), folder, argc, argv); };
    for (size_t i = 0; i < steps.size(); ++i) {
        const std::string& step = steps[i];
        if (step == "prints") {
            std::fputs(text(++i).c_str(), stdout);
            std::fflush(stdout);
        } else if (step == "writes") {
            const std::string name = steps.at(++i);
            std::ofstream(folder / name, std::ios::binary) << text(++i);
        } else if (step == "waits") {
            waitFor(folder / steps.at(++i));
        } else if (step == "exits") {
            return std::atoi(steps.at(++i).c_str());
        } else if (step == "dies") {
            die();
        }
    }
    return 0;
}
