#include "hub/MainThreadObject.h"

void MainThreadObject::onReturnToMainThread(std::function<void(void)> callback)
{
    callback();
}
