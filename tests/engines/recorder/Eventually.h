// Waiting for a fact.
#pragma once

#include <chrono>
#include <thread>

/// False when it does not come true within a generous bound.
template <typename Fact> bool eventually(Fact&& fact)
{
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
         std::chrono::steady_clock::now() < end;) {
        if (fact()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}
