// What the parts of the HTTP side share: reading a request, writing an answer.
// Thread: main loop only.
#pragma once

#include <libsoup/soup.h>

#include <functional>
#include <string>

namespace lumo::recorder
{

std::string headerOf(SoupServerMessage* message, const char* name);
std::string bodyOf(SoupServerMessage* message);
std::string queryOf(SoupServerMessage* message);
bool fromLoopback(SoupServerMessage* message);
/// "127.0.0.1:8080" as the client wrote it, else what is given.
std::string hostOf(SoupServerMessage* message, const std::string& otherwise);
void answer(SoupServerMessage* message, int status, const char* type, const std::string& body);
/// Calls later, when so many milliseconds have passed; the message waits for its answer until then.
void afterPause(SoupServerMessage* message, int ms, std::function<void(SoupServerMessage*)> then);

} // namespace lumo::recorder
