// What follows a download for AVI: its files are converted one by one, each raw one deleted after its turn.
#include "hub/PluginManage.h"
#include "playback/DownloadNames.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

#include <QFile>

namespace
{

const char* const kTag = "CPluginManage::onConvertNextFile";

} // namespace

/// A file that cannot be converted is passed over, and deleted like one that was.
void CPluginManage::onConvertNextFile()
{
    while (!convertStep())
        continue;
}

/// False when the step failed and the next is due at once; true when the library's callback carries on, or nothing is
/// left to do.
bool CPluginManage::convertStep()
{
    writeLog(kTag, QString("m_nTotalConvertFileNum:%1<----------------->m_nCurConvertFileNum:%2")
                       .arg(m_nTotalConvertFileNum)
                       .arg(m_nCurConvertFileNum));
    if (m_bCancelDownload) {
        m_mapConvertFiles.clear();
        m_bCancelDownload = false;
        return true; // the counters stay as they are: required
    }
    if (m_nCurConvertFileNum >= 1)
        deleteConverted();
    if (m_nCurConvertFileNum >= m_nTotalConvertFileNum) {
        m_bCancelDownload = false;
        m_nCurConvertFileNum = 0;
        m_nTotalConvertFileNum = 0;
        m_mapConvertFiles.clear();
        if (m_nDownloadKind != kKindPicture) {
            sendDownloadDone(onGuiThread([] { return PlayWidget::Instance()->ReloadLocalInfo(); }).szDownPath);
        }
        return true;
    }
    const QString strSource = m_mapConvertFiles.value(m_nCurConvertFileNum);
    ++m_nCurConvertFileNum;
    if (strSource.isEmpty())
        return true;
    const bool bStarted = onGuiThread([&] {
        return PlayWidget::Instance()->ChangeFileFormat(strSource, aviNameOf(strSource), LUMODEC_RECORD_AVI,
                                                        &CPluginManage::ConvertFilePosCallback,
                                                        reinterpret_cast<intptr_t>(this));
    });
    writeLog(kTag, QString(bStarted ? "m_nCurConvertFileNum:%1<------------------>successful"
                                    : "m_nCurConvertFileNum:%1 <------------------>failed")
                       .arg(m_nCurConvertFileNum));
    return bStarted;
}

/// The raw file of the step before; the page hears how much of the list is done.
void CPluginManage::deleteConverted()
{
    const QString strFile = m_mapConvertFiles.value(m_nCurConvertFileNum - 1);
    writeLog(kTag, "delete file:" + strFile);
    if (!strFile.isEmpty() && QFile::exists(strFile))
        writeLog(kTag, (QFile::remove(strFile) ? "delete file successful:" : "delete file faild:") + strFile);
    // A list that was emptied meanwhile has no share to tell.
    sendDownloadPos(m_nTotalConvertFileNum > 0 ? m_nCurConvertFileNum * 1000 / m_nTotalConvertFileNum : 0);
}

/// The decode library's thread.
void CPluginManage::ConvertFilePosCallback(long nCurrent, long nTotal, intptr_t nUser)
{
    writeLog("CPluginManage::ConvertFilePosCallback",
             QString("CurrentPos: %1 <--------------------> TotoalPos: %2").arg(nCurrent).arg(nTotal));
    auto* pHub = reinterpret_cast<CPluginManage*>(nUser);
    if (nCurrent == nTotal)
        emit pHub->returnToThisThreadSig([=] { pHub->onConvertNextFile(); });
}
