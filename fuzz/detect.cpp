// Format detection over a source that may be live, slow, expensive to seek in, larger than its input, or fail.
#include "fuzz/Fuzz.h"
#include "metadata/Detection.h"
#include "metadata/Explanation.h"

namespace {

std::uint64_t g_nowMs = 0;

// The input's first bytes say how the source behaves. If all are zero, it gives the rest at once and doesn't fail.
struct Behaviour {
    std::uint8_t flags, failingStep, pieceBytes, msPerRead, gapAt, gapBytes;

    [[nodiscard]] bool IsLive() const { return flags & 1; }
    [[nodiscard]] bool AreSeeksExpensive() const { return flags & 2; }
    [[nodiscard]] bool StandsElsewhere() const { return flags & 4; }
    // A gap of zeros in the content makes a small input large enough to be walked.
    [[nodiscard]] std::uint64_t GapAt() const { return std::uint64_t{gapAt} * 32; }
    [[nodiscard]] std::uint64_t GapBytes() const { return std::uint64_t{gapBytes} * 0x2000; }
};

class CSource final : public metadata::IByteSource {
public:
    CSource(Behaviour behaviour, std::span<const std::uint8_t> bytes)
        : m_behaviour(behaviour), m_bytes(bytes), m_position(behaviour.StandsElsewhere() ? bytes.size() / 2 : 0) {}

    Result Tell(std::uint64_t& position) noexcept override {
        position = m_position;
        return NextResult();
    }
    Facts Ask() noexcept override {
        Facts facts{{}, m_behaviour.AreSeeksExpensive()};
        if (!m_behaviour.IsLive())
            facts.size = Size();
        return facts;
    }
    Result SeekTo(std::uint64_t position) noexcept override {
        const Result result = NextResult();
        m_position = result < 0 ? m_position : position;
        return result;
    }
    Result Read(std::span<std::uint8_t> buffer, size_t& count) noexcept override {
        g_nowMs += std::uint64_t{m_behaviour.msPerRead} * 16;
        const std::uint64_t left = Size() - std::min(m_position, Size());
        const size_t piece = m_behaviour.pieceBytes ? m_behaviour.pieceBytes : buffer.size();
        count = static_cast<size_t>(std::min<std::uint64_t>({buffer.size(), left, piece}));
        std::ranges::generate(buffer.first(count), [this] { return At(m_position++); });
        return NextResult();
    }

    [[nodiscard]] std::uint64_t Position() const { return m_position; }

private:
    [[nodiscard]] std::uint64_t Size() const { return m_bytes.size() + m_behaviour.GapBytes(); }
    [[nodiscard]] std::uint8_t At(std::uint64_t at) const {
        const std::uint64_t gap = std::min<std::uint64_t>(m_behaviour.GapAt(), m_bytes.size());
        const bool isBehind = at >= gap + m_behaviour.GapBytes();
        return at < gap || isBehind ? m_bytes[isBehind ? at - m_behaviour.GapBytes() : at] : std::uint8_t{0};
    }
    Result NextResult() { return ++m_steps == m_behaviour.failingStep ? -1 : 0; }

    const Behaviour m_behaviour;
    const std::span<const std::uint8_t> m_bytes;
    std::uint64_t m_position;
    unsigned m_steps = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < sizeof(Behaviour))
        return 0;
    const Behaviour behaviour{data[0], data[1], data[2], data[3], data[4], data[5]};
    CSource source(behaviour, {data + sizeof(Behaviour), size - sizeof(Behaviour)});
    const std::uint64_t found = source.Position();
    const metadata::Detection detection = metadata::DetectFormat(source, [] { return g_nowMs; });
    Require(detection.result < 0 ? detection.findings.empty() : source.Position() == found);
    Require(detection.result == 0 || behaviour.failingStep != 0);
    Require(!metadata::Explain(detection).empty());
    return 0;
}
