// Machine on Linux, from /proc.
#include "platform/Machine.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <chrono>
#include <thread>
#include <unistd.h>

namespace platform
{
namespace
{
QByteArray contentOf(const char* szPath)
{
    QFile file(QString::fromLatin1(szPath));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// From clock ticks.
quint64 in100ns(quint64 nTicks)
{
    const long nPerSecond = sysconf(_SC_CLK_TCK);
    return nPerSecond > 0 ? nTicks * 10'000'000 / static_cast<quint64>(nPerSecond) : 0;
}
} // namespace

quint64 tickMs()
{
    using namespace std::chrono;
    return static_cast<quint64>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void sleepMs(quint32 nMs)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(nMs));
}

int processorCount()
{
    return static_cast<int>(qMax(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

bool systemCpuTimes(SCpuTimes& times)
{
    // "cpu  user nice system idle iowait irq softirq steal ..."
    constexpr int kWords = 8;
    const QByteArray content = contentOf("/proc/stat");
    const QList<QByteArray> words = content.left(content.indexOf('\n')).simplified().split(' ');
    if (words.size() < kWords)
        return false;
    const auto word = [&](int i) { return words.value(i).toULongLong(); };
    times.nUser = in100ns(word(1) + word(2));
    times.nIdle = in100ns(word(4) + word(5));
    times.nKernel = times.nIdle + in100ns(word(3) + word(6) + word(7));
    return true;
}

// There is nothing to open: a process reads its own files.
ProcessHandle openProcess()
{
    return static_cast<ProcessHandle>(getpid());
}
void closeProcess(ProcessHandle) {}

bool processCpuTimes(ProcessHandle hProcess, SCpuTimes& times)
{
    if (!hProcess)
        return false;
    // The program's name stands in parentheses and may hold anything: count from the last one.
    constexpr int kUser = 11, kKernel = 12;
    const QByteArray content = contentOf("/proc/self/stat");
    const QList<QByteArray> words = content.mid(content.lastIndexOf(')') + 2).split(' ');
    if (words.size() <= kKernel)
        return false;
    times.nIdle = 0;
    times.nUser = in100ns(words[kUser].toULongLong());
    times.nKernel = in100ns(words[kKernel].toULongLong());
    return true;
}

quint64 processMemory()
{
    const QList<QByteArray> words = contentOf("/proc/self/statm").split(' ');
    return words.value(1).toULongLong() * static_cast<quint64>(sysconf(_SC_PAGESIZE));
}
} // namespace platform
