// A decode library inside the test: records every call as one line of text and answers as told.
//
// Lines read "OpenStream 5 4096000": the call without its prefix, the port, the arguments that matter. Any thread.
#pragma once

#include <string>
#include <vector>

namespace stubdecode
{

/// Forgets calls and scripted answers: every call succeeds from now on.
void reset();
/// What the named call returns from now on, on every port.
void answer(const std::string& strCall, int nResult);
/// What GetColor puts out.
void setColor(int nBrightness, int nContrast, int nSaturation, int nHue);
/// All lines since the last take() or reset(). InputData is only counted.
std::vector<std::string> take();
int inputCalls();
/// Of the last input; -1 before any.
int inputPort();

} // namespace stubdecode
