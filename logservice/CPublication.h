// The service's entry in the Running Object Table, under the file moniker "TKRuntimeLogger".
//
// The entry is a strong one: the object lives as long as it. Where the platform lets any client see it, it does;
// otherwise only clients with the same rights in the same session do.
//
// Threads: one, in the multithreaded apartment.  Lifetime: its end takes the entry back.
#pragma once

#include <windows.h>

#include <objidl.h>
#include <wrl/client.h>

namespace logservice {

class CPublication final {
public:
    enum class Reach { Nobody, SameRights, AnyClient };

    CPublication() noexcept = default;
    CPublication(const CPublication&) = delete;
    CPublication& operator=(const CPublication&) = delete;
    ~CPublication() { TakeBack(); }

    // Once.
    // HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS): another service answers under the name, or is stopped (in a debugger,
    // say) and doesn't answer within 20 seconds.  Otherwise the table's result; on a system that has just started it
    // may take seconds until there is a table.
    [[nodiscard]] HRESULT Publish(IUnknown& service) noexcept;

    void TakeBack() noexcept;

    // Nobody before Publish, and behind TakeBack.
    [[nodiscard]] Reach ReachesWhom() const noexcept { return m_reach; }

private:
    [[nodiscard]] HRESULT PublishOnce(IUnknown& service, IMoniker& name) noexcept;
    [[nodiscard]] HRESULT Enter(IUnknown& service, IMoniker& name) noexcept;

    Microsoft::WRL::ComPtr<IRunningObjectTable> m_table;
    DWORD m_entry = 0;
    Reach m_reach = Reach::Nobody;
};

}  // namespace logservice
