#include "maintenance/GetSystemStatus.h"

#include <QCoreApplication>
#include <QTimerEvent>

namespace
{

constexpr int kSampleMs = 1000;
constexpr int kUnknown = -1;
constexpr int kFull = 100; // percent

/// From old to now by the low 32 bits alone, as the page's figures have always been made: when these wrap, the sample
/// falls out of its range and is dropped.
qint64 lowDifference(quint64 nOld, quint64 nNow)
{
    return qint64(quint32(nNow)) - qint64(quint32(nOld));
}

} // namespace

CGetSystemStatus::CGetSystemStatus(QObject* parent, const SMachine& machine)
    : QObject(parent), m_machine(machine), m_strAppName(QCoreApplication::applicationName()),
      m_nLastTick(machine.fnTickMs())
{
    m_machine.fnSystemCpuTimes(m_ftLast);
    m_nTimerId = startTimer(kSampleMs, Qt::CoarseTimer);
}

CGetSystemStatus::~CGetSystemStatus()
{
    killTimer(m_nTimerId);
}

void CGetSystemStatus::timerEvent(QTimerEvent* pEvent)
{
    if (pEvent->timerId() != m_nTimerId)
        return;
    const int nAppCpu = appCpu();
    const int nSystemCpu = systemCpu();
    const int nAppMemory = appMemory();
    emit sendSystemStatusSig(nAppCpu, nSystemCpu, nAppMemory);
}

/// The first sample counts all of the process's time as its one second, and so usually is above 100.
int CGetSystemStatus::appCpu()
{
    m_nProcessors = quint32(m_machine.fnProcessorCount());
    const platform::ProcessHandle hProcess = m_machine.fnOpenProcess();
    const quint64 nTick = m_machine.fnTickMs();
    const quint32 nElapsed = quint32(nTick - m_nLastTick);
    if (nElapsed == 0)
        return kUnknown; // required: hProcess stays open
    m_nLastTick = nTick;
    platform::SCpuTimes times;
    const bool bKnown = m_machine.fnProcessCpuTimes(hProcess, times);
    m_machine.fnCloseProcess(hProcess);
    if (!bKnown || m_nProcessors == 0)
        return kUnknown;
    constexpr quint64 kPerMs = 10000; // of 100 ns
    const qint64 nNow = qint64((times.nKernel + times.nUser) / kPerMs);
    const qint64 nDelta = nNow - m_nLastProcessMs;
    m_nLastProcessMs = nNow;
    // Unsigned in its last step: a clock that ran backwards is a huge load, not a negative one.
    const int nLoad = int(quint32(nDelta * 100 / qint64(nElapsed)) / m_nProcessors);
    if (nLoad > kFull)
        return 0; // the page takes it so
    return nLoad < 0 ? kUnknown : nLoad;
}

int CGetSystemStatus::systemCpu()
{
    platform::SCpuTimes now;
    if (!m_machine.fnSystemCpuTimes(now))
        return kUnknown;
    const qint64 nKernel = lowDifference(m_ftLast.nKernel, now.nKernel);
    const qint64 nUser = lowDifference(m_ftLast.nUser, now.nUser);
    const qint64 nIdle = -lowDifference(m_ftLast.nIdle, now.nIdle); // below 0 when time has passed
    m_ftLast = now;
    if (nKernel + nUser == 0)
        return kUnknown;
    const auto nLoad = quint32((nKernel + nUser + nIdle) * 100 / (nKernel + nUser));
    return nLoad <= quint32(kFull) ? int(nLoad) : kUnknown;
}

int CGetSystemStatus::appMemory() const
{
    constexpr int kMibBits = 20;
    return int(m_machine.fnProcessMemory() >> kMibBits);
}
