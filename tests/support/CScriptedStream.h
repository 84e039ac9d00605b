// An IStream over bytes in memory that misbehaves as told: fails, shortens, throws or holds the n-th call of a kind.
//
//   CScriptedStream source("0123456789");
//   source.On(CScriptedStream::kRead, 1, {.result = STG_E_READFAULT, .bytes = 3});  // the read after the next one
//
// Threads: any thread; a held call holds no lock.
// Lifetime: the test's, not the reference count's: AddRef and Release only count, and References() tells how many
// references the code under test still has. Clones live as long as the stream they came from.
// It has no marshaler: used from another apartment, its calls arrive through a proxy on its own thread.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <array>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

class CScriptedStream final : public IStream {
public:
    enum Kind {
        kRead,
        kWrite,
        kSeek,
        kSetSize,
        kCopyTo,
        kCommit,
        kRevert,
        kLockRegion,
        kUnlockRegion,
        kStat,
        kClone,
        kKinds
    };

    // What one call does. The plain one works as a well-behaved stream's does.
    struct Step {
        HRESULT result = S_OK;            // a failure, or another success code than the usual one
        std::optional<ULONG> bytes = {};  // Read, Write: how many bytes go over at most; a failure moves none if unsaid
        std::optional<ULONG> claim = {};  // Read, Write, Seek: the count or position that is reported instead
        bool throws = false;              // throws std::runtime_error at its end
        bool holds = false;               // waits for LetGo at its start
        bool nothing = false;             // Clone, Stat: success without a clone, or without a name
    };

    explicit CScriptedStream(std::string_view contents = {}) : m_contents(contents) {}
    CScriptedStream(const CScriptedStream&) = delete;
    CScriptedStream& operator=(const CScriptedStream&) = delete;

    // The `nth` call of this kind from now on does `step`; 0 is the next one.
    void On(Kind kind, int nth, Step step);
    // Drops the steps that were not reached.
    void ForgetSteps() { Set(m_script, {}); }
    // Every read and write moves at most this many bytes.
    void LimitTransfers(ULONG bytes) { Set(m_limit, bytes); }
    // Stat's size; unsaid, it is the length of the contents.
    void ReportSize(ULONGLONG bytes) { Set(m_reportedSize, bytes); }
    void SetContents(std::string_view contents) { Set(m_contents, std::string(contents)); }

    // Waits until a call is held. False: none was within ten seconds.
    [[nodiscard]] bool WaitUntilHeld();
    // Lets the held call go on.
    void LetGo();

    [[nodiscard]] int Calls(Kind kind) const { return Get(m_calls)[kind]; }
    [[nodiscard]] int Calls() const;                                          // of all kinds together
    [[nodiscard]] DWORD LastThread() const { return Get(m_lastThread); }      // on which the last call came in
    [[nodiscard]] ULONG LastReadSize() const { return Get(m_lastReadSize); }  // what the last read asked for
    [[nodiscard]] ULONG References() const { return Get(m_references); }      // to this stream alone
    [[nodiscard]] ULONGLONG Position() const { return Get(m_position); }
    [[nodiscard]] std::string Contents() const { return Get(m_contents); }
    [[nodiscard]] CScriptedStream* LastClone() const { return Get(m_lastClone); }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    // ISequentialStream
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) override;
    STDMETHODIMP Write(const void* buffer, ULONG cb, ULONG* bytesWritten) override;

    // IStream
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override;
    STDMETHODIMP SetSize(ULARGE_INTEGER newSize) override;
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
        return Only(kCopyTo, E_NOTIMPL);
    }
    STDMETHODIMP Commit(DWORD) override { return Only(kCommit, S_OK); }
    STDMETHODIMP Revert() override { return Only(kRevert, S_OK); }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return Only(kLockRegion, STG_E_INVALIDFUNCTION);
    }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return Only(kUnlockRegion, STG_E_INVALIDFUNCTION);
    }
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) override;
    STDMETHODIMP Clone(IStream** clone) override;

private:
    template <class T>
    T Get(const T& member) const {
        const std::lock_guard lock(m_mutex);
        return member;
    }
    template <class T>
    void Set(T& member, std::type_identity_t<T> value) {
        const std::lock_guard lock(m_mutex);
        member = std::move(value);
    }
    // Counts the call, waits if it is to be held, and gives its step.
    Step Begin(Kind kind, std::unique_lock<std::mutex>& lock);
    // The end of a call: throws or returns.
    static HRESULT End(const Step& step, HRESULT usual);
    // A call that does nothing else.
    HRESULT Only(Kind kind, HRESULT usual);
    // How many of `available` bytes go over in a call that wants `cb`.
    size_t Transfer(const Step& step, ULONG cb, size_t available) const;

    mutable std::mutex m_mutex;  // guards everything below
    std::condition_variable m_changed;
    std::string m_contents;
    ULONGLONG m_position = 0;
    std::map<std::pair<Kind, int>, Step> m_script;  // by kind and number of the call
    std::array<int, kKinds> m_calls{};
    std::vector<std::unique_ptr<CScriptedStream>> m_clones;
    CScriptedStream* m_lastClone = nullptr;
    std::optional<ULONGLONG> m_reportedSize;
    ULONG m_limit = 0xFFFFFFFF;
    ULONG m_references = 0;
    ULONG m_lastReadSize = 0;
    DWORD m_lastThread = 0;
    bool m_held = false;
};
