// An IStream over bytes in memory that misbehaves by a script: fails, shortens, throws or holds the n-th call of a
// kind.
//
//   CScriptedStream source("0123456789");
//   source.On(CScriptedStream::ReadCall, 1, {.result = STG_E_READFAULT, .bytes = 3});  // the read after the next one
//
// With HaveControl it answers ITKDSSourceControl: its bytes are here as far as a test says, reads and Awaits wait for
// the others. What is to take less than a second is over at once.
//
// Threads: any thread; a held call holds no lock.
// Lifetime: the test's; a clone lives until the next one is made.
#pragma once

#include "TKDataServices.h"
#include "tests/support/CTestObject.h"

#include <objbase.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

class CScriptedStream final : public CTestObject<IStream> {
public:
    enum Kind { ReadCall, WriteCall, SeekCall, StatCall, CloneCall, OtherCall, CallKinds };

    // What one call does. The plain one works as a well-behaved stream's does.
    struct Step {
        HRESULT result = S_OK;            // a failure, or another success code than the usual one
        std::optional<ULONG> bytes = {};  // Read, Write: the most bytes to transfer; if unset, all, or none on failure
        std::optional<ULONG> claim = {};  // Read, Write, Seek: the count or position that is reported instead
        bool throws = false;              // throws std::runtime_error and does nothing else
        bool holds = false;               // waits for LetGo at its start
        bool nothing = false;             // Clone, Stat: success without a clone, or without a name
    };

    explicit CScriptedStream(std::string_view contents = {}) : m_contents(contents) {}

    // The `nth` call of this kind from now on does `step`; 0 is the next one.
    void On(Kind kind, int nth, Step step) {
        const std::lock_guard lock(m_mutex);
        m_script[{kind, m_calls[kind] + nth}] = step;
    }
    // Drops the steps that were not reached.
    void ForgetSteps() { Set(m_script, {}); }
    // Every read and write moves at most this many bytes.
    void LimitTransfers(ULONG bytes) { Set(m_limit, bytes); }
    // Stat's size; if unset, the length of the contents.
    void ReportSize(ULONGLONG bytes) { Set(m_reportedSize, bytes); }
    // Stat's grfStateBits.
    void ReportState(DWORD bits) { Set(m_state, bits); }
    // Reads that begin at this position or behind it fail.
    void BreakAt(ULONGLONG position) { Set(m_breaksAt, position); }
    // Called at each read, with the count that it gives.
    void OnEachRead(std::function<void(ULONG)> call) { Set(m_onRead, std::move(call)); }
    void SetContents(std::string_view contents) { Set(m_contents, std::string(contents)); }
    void SetName(const std::wstring& name) { Set(m_name, name); }  // for Stat; if unset, "scripted"
    void TellNameAlways() { Set(m_alwaysTellsName, true); }        // also to a Stat that wants none
    // Stands at its start again, whatever it refuses.
    void Rewind() { Set(m_position, 0); }
    // How seeks to another position behave. Those that fail report where the stream stands.
    enum class Seeks {
        All,
        None,     // as a live source's
        Claimed,  // none, but all of them are called a success
        Onwards,
    };
    void RefuseSeeks(Seeks but = Seeks::None) { Set(m_seeks, but); }
    void RefuseSeeksBut(ULONGLONG position) { Set(m_onlySeek, position), RefuseSeeks(); }

    // Waits until a call is held. False: none was within ten seconds.
    [[nodiscard]] bool WaitUntilHeld() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10), [this] { return m_held; });
    }
    // Lets the held call go on.
    void LetGo() {
        const std::lock_guard lock(m_mutex);
        m_held = false;
        m_changed.notify_all();
    }

    // Bytes are here up to this position; later calls say how many have come by then.
    void HaveControl(ULONGLONG here) {
        const std::lock_guard lock(m_mutex);
        m_here = here;
        m_changed.notify_all();
    }
    void GoNoFurtherThan(ULONGLONG position) { Set(m_reach, position); }  // as a live source
    // What is waited for fails with this, unless it is S_OK.
    void FailWaits(HRESULT result) {
        const std::lock_guard lock(m_mutex);
        m_waitsFail = result;
        m_changed.notify_all();
    }
    // Each such wait calls this, without a lock, and is over then.
    void OnEachWait(std::function<void()> call) { Set(m_onWait, std::move(call)); }
    // Waits until so many calls wait for bytes. False: they didn't within ten seconds.
    [[nodiscard]] bool WaitUntilWaiting(int calls = 1) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10), [=, this] { return m_waiting >= calls; });
    }
    using Awaited = std::tuple<ULONGLONG, ULONGLONG, DWORD>;  // position, bytes, milliseconds
    [[nodiscard]] std::vector<Awaited> TakeAwaits() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_awaits, {});
    }
    [[nodiscard]] bool AreReadsGivenUp() const { return Get(m_isAborted); }
    TKDS_SOURCE_STATUS status{};  // what GetStatus tells

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (iid != __uuidof(ITKDSSourceControl) || !Get(m_here))
            return CTestObject::QueryInterface(iid, object);
        *object = static_cast<ITKDSSourceControl*>(&m_control);
        return AddRef(), S_OK;
    }

    [[nodiscard]] int Calls(Kind kind) const { return Get(m_calls)[kind]; }
    [[nodiscard]] int Calls() const {  // of all kinds together
        const auto calls = Get(m_calls);
        return std::accumulate(calls.begin(), calls.end(), 0);
    }
    [[nodiscard]] DWORD LastThread() const { return Get(m_lastThread); }      // on which the last call came in
    [[nodiscard]] ULONG LastReadSize() const { return Get(m_lastReadSize); }  // what the last read asked for
    [[nodiscard]] std::string Contents() const { return Get(m_contents); }
    [[nodiscard]] CScriptedStream* LastClone() const { return m_clone.get(); }

    // ISequentialStream
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) override {
        auto [step, lock] = Begin(ReadCall);
        if (m_position >= m_breaksAt)
            step = {.result = STG_E_READFAULT};
        m_lastReadSize = cb;
        if (MIDL_uhyper available = 0; m_here && step.result == S_OK) {
            const HRESULT waited = WaitForBytes(lock, m_position, cb, INFINITE, available);
            if (waited != S_OK)
                step = {.result = SUCCEEDED(waited) ? S_OK : waited, .bytes = static_cast<ULONG>(available)};
        }
        const size_t start = static_cast<size_t>(std::min<ULONGLONG>(m_position, m_contents.size()));
        const size_t count = Transfer(step, cb, m_contents.size() - start);
        if (m_onRead)
            m_onRead(static_cast<ULONG>(count));
        m_contents.copy(static_cast<char*>(buffer), count, start);
        m_position += count;
        if (bytesRead)
            *bytesRead = step.claim.value_or(static_cast<ULONG>(count));
        return step.result == S_OK && count < cb ? S_FALSE : step.result;
    }
    STDMETHODIMP Write(const void* buffer, ULONG cb, ULONG* bytesWritten) override {
        const auto [step, lock] = Begin(WriteCall);
        const size_t count = Transfer(step, cb, cb);
        const size_t start = static_cast<size_t>(m_position);
        if (count > 0) {
            m_contents.resize(std::max(m_contents.size(), start + count));
            std::memcpy(m_contents.data() + start, buffer, count);
        }
        m_position += count;
        if (bytesWritten)
            *bytesWritten = step.claim.value_or(static_cast<ULONG>(count));
        return step.result;
    }

    // IStream
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override {
        const auto [step, lock] = Begin(SeekCall);
        if (step.claim && newPosition)
            newPosition->QuadPart = *step.claim;
        if (FAILED(step.result))
            return step.result;
        const ULONGLONG bases[] = {0, m_position, m_contents.size()};
        const ULONGLONG target = bases[origin % 3] + static_cast<ULONGLONG>(move.QuadPart);
        if (origin > STREAM_SEEK_END || static_cast<LONGLONG>(target) < 0)
            return STG_E_INVALIDFUNCTION;
        if (m_seeks == Seeks::Claimed && target != m_position)
            return S_OK;
        const bool goes = m_seeks == Seeks::All || (m_seeks == Seeks::Onwards && target > m_position);
        if (!goes && target != m_onlySeek && target != m_position) {
            if (newPosition)
                newPosition->QuadPart = m_position;
            return STG_E_INVALIDFUNCTION;
        }
        m_position = target;
        if (newPosition)
            newPosition->QuadPart = step.claim ? *step.claim : target;
        return step.result;
    }
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) override {
        const auto [step, lock] = Begin(StatCall);
        if (FAILED(step.result))
            return step.result;
        *stat = {};
        stat->type = STGTY_STREAM;
        stat->grfStateBits = m_state;
        stat->cbSize.QuadPart = m_reportedSize.value_or(m_contents.size());
        if ((!(flag & STATFLAG_NONAME) || m_alwaysTellsName) && !step.nothing) {
            const size_t bytes = (m_name.size() + 1) * sizeof(wchar_t);
            stat->pwcsName = static_cast<wchar_t*>(std::memcpy(::CoTaskMemAlloc(bytes), m_name.c_str(), bytes));
        }
        return step.result;
    }
    STDMETHODIMP Clone(IStream** clone) override {
        const auto [step, lock] = Begin(CloneCall);
        *clone = FAILED(step.result) ? reinterpret_cast<IStream*>(16) : nullptr;
        if (step.nothing || FAILED(step.result))
            return step.result;
        m_clone = std::make_unique<CScriptedStream>(m_contents);
        m_clone->m_position = m_position;
        m_clone->m_here = m_here;
        return m_clone->QueryInterface(IID_PPV_ARGS(clone));
    }
    STDMETHODIMP SetSize(ULARGE_INTEGER) override { return Other(); }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return Other(); }
    STDMETHODIMP Commit(DWORD) override { return Other(); }
    STDMETHODIMP Revert() override { return Other(); }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return Other(); }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return Other(); }

private:
    struct CControl final : ITKDSSourceControl {
        explicit CControl(CScriptedStream& owner) : stream(owner) {}
        STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return stream.QueryInterface(iid, object); }
        STDMETHODIMP_(ULONG) AddRef() override { return stream.AddRef(); }
        STDMETHODIMP_(ULONG) Release() override { return stream.Release(); }
        STDMETHODIMP AbortReads() override {
            const std::lock_guard lock(stream.m_mutex);
            stream.m_isAborted = true;
            ++stream.m_aborts;
            stream.m_changed.notify_all();
            return S_OK;
        }
        STDMETHODIMP AllowReads() override { return stream.Set(stream.m_isAborted, false), S_OK; }
        STDMETHODIMP Await(MIDL_uhyper position, MIDL_uhyper bytes, ULONG milliseconds, MIDL_uhyper* here) override {
            std::unique_lock lock(stream.m_mutex);
            stream.m_awaits.emplace_back(position, bytes, milliseconds);
            return stream.WaitForBytes(lock, position, bytes, milliseconds, *here);
        }
        STDMETHODIMP GetStatus(TKDS_SOURCE_STATUS* to) override { return *to = stream.status, S_OK; }
        STDMETHODIMP GetRanges(ULONG capacity, TKDS_RANGE* ranges, ULONG* count) override {
            *count = std::min(capacity, 1ul);
            if (*count)
                *ranges = {0, *stream.Get(stream.m_here)};
            return S_OK;
        }
        STDMETHODIMP SetSilenceLimit(ULONG milliseconds) override {
            return stream.Set(stream.status.silenceLimit, milliseconds), milliseconds < 100 ? E_INVALIDARG : S_OK;
        }
        CScriptedStream& stream;
    };

    HRESULT WaitForBytes(std::unique_lock<std::mutex>& lock, ULONGLONG position, ULONGLONG bytes, DWORD milliseconds,
                         MIDL_uhyper& available) {
        const int aborts = m_aborts;
        for (;;) {
            const ULONGLONG end = std::min<ULONGLONG>(m_reach, m_contents.size());
            const ULONGLONG wanted = position < end ? std::min(bytes, end - position) : 0;
            available = position < *m_here ? std::min(wanted, *m_here - position) : 0;
            if (available == wanted)
                return wanted == bytes ? S_OK : S_FALSE;
            if (FAILED(m_waitsFail))
                return m_waitsFail;
            if (m_isAborted || m_aborts != aborts)
                return E_ABORT;
            if (milliseconds < 1000)
                return E_PENDING;
            if (const auto onWait = std::exchange(milliseconds, 0) ? m_onWait : nullptr) {
                lock.unlock();
                onWait();
                lock.lock();
                continue;
            }
            milliseconds = INFINITE;
            ++m_waiting;
            m_changed.notify_all();
            const bool isOver = m_changed.wait_for(lock, std::chrono::minutes(1)) == std::cv_status::timeout;
            --m_waiting;
            if (isOver)
                return E_UNEXPECTED;
        }
    }
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
    // Counts the call, waits if the script holds it, and gives its step. The lock is for the rest of the call.
    std::pair<Step, std::unique_lock<std::mutex>> Begin(Kind kind) {
        std::unique_lock lock(m_mutex);
        m_lastThread = ::GetCurrentThreadId();
        const auto scripted = m_script.extract({kind, m_calls[kind]++});
        const Step step = scripted ? scripted.mapped() : Step{};
        if (step.holds) {
            m_held = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return !m_held; });
        }
        if (step.throws)
            throw std::runtime_error("scripted");
        return {step, std::move(lock)};
    }
    HRESULT Other() { return Begin(OtherCall), E_NOTIMPL; }
    // How many of `available` bytes go over in a call that wants `cb`.
    size_t Transfer(const Step& step, ULONG cb, size_t available) const {
        const ULONG asked = step.bytes ? *step.bytes : FAILED(step.result) ? 0 : cb;
        return std::min<size_t>(available, std::min({asked, cb, m_limit}));
    }

    mutable std::mutex m_mutex;  // guards everything below
    std::condition_variable m_changed;
    std::string m_contents;
    std::wstring m_name = L"scripted";
    ULONGLONG m_position = 0;
    std::map<std::pair<Kind, int>, Step> m_script;  // by kind and number of the call
    std::array<int, CallKinds> m_calls{};
    std::unique_ptr<CScriptedStream> m_clone;
    std::optional<ULONGLONG> m_reportedSize;
    Seeks m_seeks = Seeks::All;
    std::optional<ULONGLONG> m_onlySeek;
    ULONGLONG m_breaksAt = ~0ull;
    std::function<void(ULONG)> m_onRead;
    DWORD m_state = 0;
    ULONG m_limit = 0xFFFFFFFF;
    ULONG m_lastReadSize = 0;
    DWORD m_lastThread = 0;
    bool m_alwaysTellsName = false;
    bool m_held = false;
    std::optional<ULONGLONG> m_here;  // unset: without the control
    ULONGLONG m_reach = ~0ull;
    HRESULT m_waitsFail = S_OK;
    std::vector<Awaited> m_awaits;
    std::function<void()> m_onWait;
    int m_waiting = 0;  // calls that wait for bytes
    int m_aborts = 0;   // calls of AbortReads
    bool m_isAborted = false;
    CControl m_control{*this};
};
