// What the program throws and nobody catches, as text: the standard library tells only its type. Ready before main
// runs, since the loader sets this library up with the program.
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace
{

[[noreturn]] void tellAndAbort()
{
    try {
        if (std::current_exception()) {
            throw;
        }
    } catch (const char* text) {
        std::fprintf(stderr, "uncaught: %s\n", text);
    } catch (...) {
        std::fputs("uncaught: no text\n", stderr);
    }
    std::abort();
}

[[maybe_unused]] const std::terminate_handler previous = std::set_terminate(tellAndAbort);

} // namespace
