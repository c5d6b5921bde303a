// Samples, once a second, the load of this process and of the machine and the memory of this process, from its making
// to the end of the process, whether or not anyone is logged in.
//
// Thread: that of its parent, where its timer runs. Errors: a load that cannot be told is -1, memory is 0.
#pragma once

#include "platform/Machine.h"

#include <QObject>
#include <QString>

/// Where the numbers come from; a test gives its own.
struct SMachine {
    quint64 (*fnTickMs)() = platform::tickMs;
    int (*fnProcessorCount)() = platform::processorCount;
    platform::ProcessHandle (*fnOpenProcess)() = platform::openProcess;
    void (*fnCloseProcess)(platform::ProcessHandle hProcess) = platform::closeProcess;
    bool (*fnProcessCpuTimes)(platform::ProcessHandle hProcess, platform::SCpuTimes& times) = platform::processCpuTimes;
    bool (*fnSystemCpuTimes)(platform::SCpuTimes& times) = platform::systemCpuTimes;
    quint64 (*fnProcessMemory)() = platform::processMemory;
};

class CGetSystemStatus : public QObject
{
    Q_OBJECT
public:
    explicit CGetSystemStatus(QObject* parent, const SMachine& machine = SMachine());
    ~CGetSystemStatus() override;

signals:
    /// Percent of the whole machine, 0 to 100, or -1; memory in MiB.
    void sendSystemStatusSig(int nAppCpuStatus, int nSystemCpuStatus, int nAppMemory);

protected:
    void timerEvent(QTimerEvent* pEvent) override;

private:
    int appCpu();
    int systemCpu();
    int appMemory() const;

    const SMachine m_machine;
    QString m_strAppName;
    int m_nTimerId = 0;
    quint64 m_nLastTick = 0;     // ms
    qint64 m_nLastProcessMs = 0; // kernel and user time
    quint32 m_nProcessors = 0;
    platform::SCpuTimes m_ftLast;
};
