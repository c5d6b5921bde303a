// What went wrong where no caller waits for the answer: one line on the error stream, which the host keeps.
#pragma once

#include <string>

namespace lumo::net
{

/// Thread: any.
void log(const std::string& line);
/// LUMONET_ERROR in words.
const char* errorText(int error);

} // namespace lumo::net
