// The user's own alarm voice: records the microphone into a file of bare G.711 A-law, of 40960 bytes at most, and plays
// it back through the talk port. Shares port and microphone with the talk; nothing arbitrates, the library's word
// decides.
//
// Thread: lives on the thread that first asks for it (the GUI thread); operations on the hub thread; records on the
// capture thread, plays on a detached thread of its own. No lock. Signals from any of them.
// Errors: operations answer 0 or a negative number.
#pragma once

#include <QObject>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>

class VoiceCustom : public QObject
{
    Q_OBJECT
public:
    /// Created on first use, lives to the end of the process.
    static VoiceCustom* instance();

    /// Where the voice stands, in Qt's form; raw A-law, one byte for each sample.
    QString file() const { return m_strFile; }

    /// false changes nothing: what was once at 16000 Hz stays so.
    void SetSampleRate16(bool bOn);
    /// Empties the file and begins. -3 when not idle, -2 when there is no capture.
    int StartRecordVoice();
    /// 0 also when none runs; -1 when the capture does not stop.
    int StopRecordVoice();
    /// -1 when not idle, -2 no file, -3 an empty one, -4 no port.
    int StartTest();
    /// Always 0. The play ends by itself, a moment later.
    int StopTest();

signals:
    /// The finished text of an event for the page.
    void VoiceRecordTime(QString);
    /// For the capture thread, which must not stop its own capture: the closure runs on this object's thread.
    void returnToMainThread(std::function<void(void)>);

private:
    VoiceCustom();
    bool openPort();
    void closePort();
    void recordBlock(const uint8_t* pPcm, int nSize);
    void endRecord();
    void playFile();
    void feedFile();

    static void CaptureCallBack(const uint8_t* pBlock, int nSize, intptr_t nUser);

    std::atomic<int> m_nState{0};    // EState; atomic: hub, capture, test and GUI thread
    std::atomic<int> m_bStopTest{0}; // atomic: hub and test thread
    const QString m_strFile;
    std::atomic<int> m_nSampleRate{8000}; // Hz; atomic: written by the hub, read by the test thread
};
