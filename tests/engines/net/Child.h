// Another program beside the test: started with its output in a pipe, ended with this object.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace lumo::net::test
{

class Child
{
public:
    explicit Child(const std::vector<std::string>& command);
    ~Child();
    /// The first line of its output; empty when it ended without one or said nothing within the time.
    std::string firstLine(int timeoutMs);
    static bool exists(const std::string& path);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace lumo::net::test
