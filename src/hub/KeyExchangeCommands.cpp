// MainType 32: the key of the session's messages, made here or chosen by the page. Both travel in the clear.
#include "hub/PluginManage.h"
#include "shell/LightWeightLog.h"

#include <cstdlib>
#include <ctime>

namespace
{
const char* const kTag = "CPluginManage::onMainMsgConsultAesKey";
} // namespace

/// A page that chooses the key gets no reply, and no enciphered message either, ever.
void CPluginManage::onMainMsgConsultAesKey(const Json::Value& request)
{
    if (!request["Potocol"].isNull()) {
        aesKey.set(aesKeyOf(request["key"].asCString())); // throws where there is none: nothing has changed then
        plainRepliesOnly = true;                          // first: a message of another thread stays readable
        encryptionOn = true;
        writeLog(kTag, toText(request));
        return;
    }
    std::srand(unsigned(std::time(nullptr)));
    const std::array<char, 17> key = makeKeyText(uint32_t(std::rand()));
    Json::Value reply = replyTo(request);
    reply["key"]["key"] = key.data();
    reply["key"]["iv"] = "";
    reply["Ret"] = kRetSuccess;
    aesKey.set(aesKeyOf(key.data()));
    encryptionOn = true;
    const QString strReply = toText(reply);
    writeLog(kTag, strReply);
    emit sendWebSocketMsgSig(strReply); // not by sendWebSocketMsg: the page cannot read it otherwise
}
