#include "HandlerLoop.h"

#include <cstdio>
#include <exception>

namespace lumo::host
{

void runHandlers(boost::asio::io_context& io)
{
    for (;;) {
        try {
            io.run();
            return;
        } catch (const std::exception& wrong) {
            std::fprintf(stderr, "lumo-host: a connection is given up: %s\n", wrong.what());
        }
    }
}

} // namespace lumo::host
