// Work that is many times the same, on as many threads as the machine has cores.
// Blocking: until all is done. Errors: one of those that were thrown, when the other threads have ended too.
#pragma once

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace lumo::recorder
{

/// Calls work with each number from 0 to count - 1.
template <typename Work> void inParallel(size_t count, Work&& work)
{
    std::atomic<size_t> next{0};
    std::exception_ptr failure;
    std::mutex failureMutex;
    const auto run = [&] {
        try {
            for (size_t i = next++; i < count; i = next++) {
                work(i);
            }
        } catch (...) {
            std::lock_guard lock(failureMutex);
            failure = std::current_exception();
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < std::max(1u, std::thread::hardware_concurrency()); ++i) {
        threads.emplace_back(run);
    }
    for (auto& thread : threads) {
        thread.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace lumo::recorder
