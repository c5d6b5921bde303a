// What the files of C calls share: the engine, and errors per thread.
#pragma once

#include "Engine.h"

#include <memory>

namespace lumo::net
{

/// Null before LUMONET_Init and after LUMONET_Cleanup.
std::shared_ptr<Engine> currentEngine();
/// Leaves the engine as it is until the process is gone. Only when no other thread runs any more.
void abandonEngine();
/// Keeps the error for LUMONET_GetLastError; 0.
int refuse(int error);
/// 1 for success, 0 for an error, which is kept.
int answer(int error);
/// A handle as it is; an error is kept, and 0 returned.
int answerHandle(int handleOrError, int* pError);

template <typename F> int withEngine(F&& f)
{
    const auto e = currentEngine();
    return e ? answer(f(*e)) : refuse(LUMONET_ERR_NOT_LOGGED_IN);
}

/// The same for calls that return a handle.
template <typename F> int handleFromEngine(F&& f)
{
    const auto e = currentEngine();
    return answerHandle(e ? f(*e) : int(LUMONET_ERR_NOT_LOGGED_IN), nullptr);
}

} // namespace lumo::net
