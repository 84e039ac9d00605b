// What the reads of one stream go through: they end when it is closed.
//
// Threads: any.
#pragma once

#include <atomic>

namespace dataservices::store {

class CReadGate final {
public:
    // What a read takes with it when it begins.
    class Pass final {
    public:
        Pass(const CReadGate& gate) noexcept : m_gate(gate), m_closings(gate.m_closings) {}

        // The gate has been closed since then, or was closed already.
        [[nodiscard]] bool IsOver() const noexcept { return m_gate.m_isClosed || m_gate.m_closings != m_closings; }

    private:
        const CReadGate& m_gate;
        const unsigned m_closings;
    };

    // Who waits has to be woken afterwards.
    void Close() noexcept {
        m_isClosed = true;
        ++m_closings;
    }
    void Open() noexcept { m_isClosed = false; }

private:
    std::atomic<bool> m_isClosed{false};
    std::atomic<unsigned> m_closings{0};
};

}  // namespace dataservices::store
