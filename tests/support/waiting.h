#pragma once

#include <chrono>
#include <thread>

/// Waits until `condition` holds; returns whether it does by the bound. For conditions of other processes,
/// which no event announces.
template <typename Condition>
bool waitUntil(const Condition &condition, std::chrono::milliseconds bound = std::chrono::seconds(20))
{
    const auto end = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end)
            return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
