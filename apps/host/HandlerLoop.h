// Runs the handlers of the I/O thread.
#pragma once

#include <boost/asio/io_context.hpp>

namespace lumo::host
{

/// Runs handlers until io is stopped or has nothing left. What one of them throws ends that handler, and with it the
/// connection it stood for; a line on the error stream says so, and the others go on.
void runHandlers(boost::asio::io_context& io);

} // namespace lumo::host
