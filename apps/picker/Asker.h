// Who asked for a path holds the other end of the standard input while it waits for the answer.
#pragma once

namespace lumo::picker
{

/// Ends the program, nothing printed and with exit code 0, as soon as the standard input has ended: with the one who
/// asked the dialog has lost its sense. Once, on any thread; watches on a thread of its own.
void endWithAsker();

} // namespace lumo::picker
