// The caller's thread does.
#include "AudioThread.h"

namespace lumo
{
namespace
{

class CallersThread final : public AudioThread
{
public:
    void run(const std::function<void()>& work) override { work(); }
};

} // namespace

std::shared_ptr<AudioThread> sharedAudioThread()
{
    return std::make_shared<CallersThread>();
}

} // namespace lumo
