// From the wire's MainType to the code, in one step.
#include "hub/PluginManage.h"

CPluginManage::Handler CPluginManage::handlerOf(int nMainType)
{
    struct SCommandRow {
        int nMainType;
        Handler fnHandler;
    };
    static constexpr SCommandRow kCommands[] = {
        // MainType  handler                                        stands in
        {  2, &CPluginManage::onMainMsgPageSwitch        },      // live/PageCommands.cpp
        {  3, &CPluginManage::onMainMsgSplit             },      // live/SplitCommands.cpp
        {  4, &CPluginManage::onMainMsgPreview           },      // live/PreviewCommands.cpp
        {  5, &CPluginManage::onMainMsgPlayback          },      // playback/PlaybackCommands.cpp
        {  6, &CPluginManage::onMainMsgColor             },      // live/ColorCommands.cpp
        {  8, &CPluginManage::onMainMsgLogin             },      // hub/SessionCommands.cpp
        {  9, &CPluginManage::onMainMsgLogout            },      // hub/SessionCommands.cpp
        { 11, &CPluginManage::onMainMsgSelectPlaybackWnd },      // surface/PositionCommands.cpp
        { 12, &CPluginManage::onMainMsgPosition          },      // surface/PositionCommands.cpp
        { 14, &CPluginManage::onMainMsgAlarmType         },      // hub/AlarmCommands.cpp
        { 15, &CPluginManage::onMainMsgReadAlarmType     },      // hub/AlarmCommands.cpp
        { 16, &CPluginManage::onMainMsgTalk              },      // audio/TalkCommands.cpp
        { 18, &CPluginManage::onMainMsgClientConfig      },      // hub/ClientConfigCommands.cpp
        { 19, &CPluginManage::onMainMsgPicture           },      // live/PictureCommands.cpp
        { 20, &CPluginManage::onMainMsgVoiceCustom       },      // audio/VoiceCustomCommands.cpp
        { 21, &CPluginManage::onMainMsgOnlineUpgrade     },      // maintenance/UpgradeCommands.cpp
        { 22, &CPluginManage::onMainMsgCheckToolVersion  },      // maintenance/VersionCommands.cpp
        { 24, &CPluginManage::onMainMsgPTZElect          },      // live/PtzCommands.cpp
        { 25, &CPluginManage::onMainMsgLocalUpgrade      },      // maintenance/UpgradeCommands.cpp
        { 28, &CPluginManage::onMainMsgLoginAgain        },      // hub/SessionCommands.cpp
        { 29, &CPluginManage::onMainMsgScaleStep         },      // surface/PositionCommands.cpp
        { 30, &CPluginManage::onMainMsgImportFile        },      // maintenance/ImportCommands.cpp
        { 32, &CPluginManage::onMainMsgConsultAesKey     },      // hub/KeyExchangeCommands.cpp
        { 34, &CPluginManage::onMainMsgRule              },      // live/RuleCommands.cpp
    };
    for (const SCommandRow& row : kCommands)
        if (row.nMainType == nMainType)
            return row.fnHandler;
    return nullptr;
}

void CPluginManage::dispatch(const Json::Value& request)
{
    const int nMainType = request["MainType"].asInt();
    if (nMainType == 0) // also a request without MainType: the page gets no answer to what is no command
        return;
    if (const Handler fnHandler = handlerOf(nMainType)) {
        (this->*fnHandler)(request);
        return;
    }
    Json::Value reply = replyTo(request);
    sendReply(reply, kRetUnknown);
}
