// The decode channels of one page, made at first use, and the road of stream data to them.
//
// A table lives as long as the process; the page that owns its channels opens and closes it. Stream data may come at
// any moment, also while the page is made or destroyed: after the end of a page they find a closed table and are
// dropped. They never touch a channel object, which the GUI thread may be deleting, but only ask whether there is
// one.
//
// Thread: open, close and get on the GUI thread, provide on any. No lock anywhere.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

/// Port(int nPort) is made for nFirstPort + index.
template <typename Port, int nFirstPort, int nPorts> class CPortTable
{
public:
    void open()
    {
        for (auto& slot : m_slots)
            slot.store(kEmpty, std::memory_order_release);
    }

    /// Deletes all channels.
    void close()
    {
        for (auto& slot : m_slots) {
            const std::uintptr_t nOld = slot.exchange(kClosed, std::memory_order_acq_rel);
            if (isPort(nOld))
                delete reinterpret_cast<Port*>(nOld);
        }
    }

    /// The number of the port that belongs to an index of the table.
    static constexpr int portOf(int nIndex) { return nFirstPort + nIndex; }

    /// Made if missing; null for an index outside the table, or when the table is closed. Valid until close().
    Port* get(int nIndex) { return provide(nIndex) ? reinterpret_cast<Port*>(m_slots[nIndex].load()) : nullptr; }

    /// Sees to it that there is a channel; false where there cannot be one.
    bool provide(int nIndex)
    {
        if (nIndex < 0 || nIndex >= nPorts)
            return false;
        std::uintptr_t nSlot = m_slots[nIndex].load(std::memory_order_acquire);
        return nSlot == kEmpty ? create(nIndex) : nSlot != kClosed;
    }

private:
    static constexpr std::uintptr_t kEmpty = 0;
    static constexpr std::uintptr_t kClosed = 1;

    static bool isPort(std::uintptr_t nSlot) { return nSlot != kEmpty && nSlot != kClosed; }

    /// Who comes second, be it to another creator or to the end of the page, deletes its own.
    bool create(int nIndex)
    {
        auto* pOwn = new Port(portOf(nIndex));
        std::uintptr_t nFound = kEmpty;
        if (m_slots[nIndex].compare_exchange_strong(nFound, reinterpret_cast<std::uintptr_t>(pOwn)))
            return true;
        delete pOwn;
        return nFound != kClosed;
    }

    static constexpr std::array<std::atomic<std::uintptr_t>, nPorts> allClosed()
    {
        return []<std::size_t... i>(std::index_sequence<i...>)
        {
            return std::array<std::atomic<std::uintptr_t>, nPorts>{((void)i, kClosed)...};
        }
        (std::make_index_sequence<nPorts>{});
    }

    // atomic: written by the GUI thread and by whichever library thread comes first
    std::array<std::atomic<std::uintptr_t>, nPorts> m_slots = allClosed();
};
