// MainType 18: the folders and formats in ClientCfg.ini, and the native dialog that picks a folder.
#include "hub/PickerMode.h"
#include "hub/PluginManage.h"
#include "platform/ClientConfig.h"
#include "platform/Paths.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

#include <QProcess>

namespace
{
enum ESubType { kPickRecord = 48, kPickCapture = 49, kSave = 50, kRead = 51, kPickDownload = 53 };
} // namespace

void CPluginManage::onMainMsgClientConfig(const Json::Value& request)
{
    switch (request["SubType"].asInt()) {
    case kPickRecord:
        return startPicker(request, kPickRecordFolder);
    case kPickCapture:
        return startPicker(request, kPickCaptureFolder);
    case kPickDownload:
        return startPicker(request, kPickDownloadFolder);
    case kSave:
        return saveClientConfig(request);
    case kRead:
        return readClientConfig(request);
    default:
        return; // the page gets no answer
    }
}

void CPluginManage::saveClientConfig(const Json::Value& request)
{
    // asCString, because a missing path must end the command with nothing written.
    const QString strRecPath = QString::fromUtf8(request["RecPath"].asCString());
    const QString strCapPath = QString::fromUtf8(request["CapPath"].asCString());
    const QString strDownPath = QString::fromUtf8(request["DownPath"].asCString());
    const int nRecordType = request["RecordType"].asInt();
    writeLog("CPluginManage::onMainMsgClientConfig", "save config path");
    {
        platform::ClientConfig settings;
        settings.setValue(platform::kRecordFolder.szKey, strRecPath);
        settings.setValue(platform::kCaptureFolder.szKey, strCapPath);
        settings.setValue(platform::kDownloadFolder.szKey, strDownPath);
        settings.setValue("Info/RecordType", nRecordType);
    }
    Json::Value reply = replyTo(request);
    sendReply(reply, kRetSuccess);
}

void CPluginManage::readClientConfig(const Json::Value& request)
{
    const LocalInfo info = onGuiThread([&] {
        LocalInfo local;
        PlayWidget::Instance()->LoadLocalInfo(&local, webType);
        return local;
    });
    Json::Value reply = replyTo(request);
    reply["ToolVersion"] = utf8OfLocal(info.szVersion);
    reply["ToolDate"] = utf8OfLocal(info.szDate);
    reply["CapFileType"] = info.nCaptureType;
    reply["RecordFileType"] = info.nRecordType;
    reply["RecPath"] = utf8OfLocal(info.szRecPath);
    reply["CapPath"] = utf8OfLocal(info.szCapPath);
    reply["DownPath"] = utf8OfLocal(info.szDownPath);
    sendReply(reply, kRetSuccess);
}

/// Replies when the dialog's program ends; the hub is free meanwhile. No reply if it cannot be started.
void CPluginManage::startPicker(const Json::Value& request, int nMode)
{
    Json::Value reply = replyTo(request);
    runPicker({QString::number(nMode), "0"}, [this, reply](bool bOk, const QByteArray& output) mutable {
        reply["nRet"] = kRetFailure; // spelled so in these replies
        if (bOk) {
            reply["Path"] = output.toStdString();
            reply["nRet"] = kRetSuccess;
        }
        sendWebSocketMsg(toText(reply), true);
    });
}

void CPluginManage::runPicker(const QStringList& arguments, PickerEnd fnEnd)
{
    auto* pProcess = new QProcess(this);
    connect(pProcess, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            [pProcess, fnEnd](int nExitCode, QProcess::ExitStatus status) {
                fnEnd(nExitCode == 0 && status == QProcess::NormalExit, pProcess->readAllStandardOutput());
                pProcess->deleteLater();
            });
    connect(pProcess, &QProcess::errorOccurred, pProcess, [pProcess](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            pProcess->deleteLater();
    });
    const QString strProgram = platform::joinPath(platform::applicationDir(), "Browse" + platform::executableSuffix());
    pProcess->start(strProgram, arguments, QIODevice::ReadWrite);
}
