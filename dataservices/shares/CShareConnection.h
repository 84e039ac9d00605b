// One of the connections by which a store comes to the bytes of a file on a share. Each has a handle of its own, which
// it keeps between its answers, and opens again after a failure of the network.
//
// Units: positions and lengths are bytes.  Threads: as for IConnection.  Errors: std::bad_alloc.
#pragma once

#include "dataservices/shares/ShareSource.h"
#include "dataservices/store/IConnection.h"

#include <memory>

namespace dataservices::shares {

class CShareConnection final : public store::IConnection {
public:
    explicit CShareConnection(std::shared_ptr<ShareSource> source)
        : m_source(std::move(source)), m_file(m_source->AddFile()) {}

    // IConnection
    // STG_E_REVERTED: the file has another size, or was written since.
    store::Outcome Open(store::Position at, std::optional<store::Position> end, store::Position* begin,
                        store::SourceFacts* facts) override;
    store::Outcome Read(std::span<const store::Byte>* bytes) override;
    void Close() noexcept override {}
    void Abort() noexcept override { m_file->Abort(); }
    void Tell(store::Position at, HRESULT failure, std::optional<std::uint64_t> pauseMs) override;

private:
    [[nodiscard]] HRESULT Prepare(CShareFile::File& file, store::Position at) const;
    [[nodiscard]] store::Outcome OutcomeOf(HRESULT hr) const noexcept;

    const std::shared_ptr<ShareSource> m_source;
    const std::shared_ptr<CShareFile> m_file;
    store::Position m_at = 0;   // of the byte that comes next
    store::Position m_end = 0;  // of the answer
    ULONG m_piece = 0;          // how much is read at once
    std::vector<store::Byte> m_bytes;
};

}  // namespace dataservices::shares
