#include "LibraryStub.h"

LibraryStub& LibraryStub::get()
{
    static LibraryStub stub;
    return stub;
}

LibraryStub& LibraryStub::reset()
{
    return get() = LibraryStub();
}

int LibraryStub::call(const std::string& line)
{
    calls.push_back(line);
    if (failAfter > 0 && --failAfter == 0)
        return 0;
    const auto found = results.find(line.substr(0, line.find(' ')));
    return found == results.end() ? 1 : found->second;
}
