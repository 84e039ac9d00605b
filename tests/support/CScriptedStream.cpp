#include "tests/support/CScriptedStream.h"

#include <objbase.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <numeric>
#include <stdexcept>

void CScriptedStream::On(Kind kind, int nth, Step step) {
    const std::lock_guard lock(m_mutex);
    m_script[{kind, m_calls[kind] + nth}] = step;
}

bool CScriptedStream::WaitUntilHeld() {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10), [this] { return m_held; });
}

void CScriptedStream::LetGo() {
    const std::lock_guard lock(m_mutex);
    m_held = false;
    m_changed.notify_all();
}

int CScriptedStream::Calls() const {
    const auto calls = Get(m_calls);
    return std::accumulate(calls.begin(), calls.end(), 0);
}

CScriptedStream::Step CScriptedStream::Begin(Kind kind, std::unique_lock<std::mutex>& lock) {
    m_lastThread = ::GetCurrentThreadId();
    const auto scripted = m_script.find({kind, m_calls[kind]++});
    if (scripted == m_script.end())
        return {};
    const Step step = scripted->second;
    m_script.erase(scripted);
    if (step.holds) {
        m_held = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_held; });
    }
    return step;
}

HRESULT CScriptedStream::End(const Step& step, HRESULT usual) {
    if (step.throws)
        throw std::runtime_error("scripted");
    return step.result == S_OK ? usual : step.result;
}

HRESULT CScriptedStream::Only(Kind kind, HRESULT usual) {
    std::unique_lock lock(m_mutex);
    return End(Begin(kind, lock), usual);
}

size_t CScriptedStream::Transfer(const Step& step, ULONG cb, size_t available) const {
    const ULONG asked = step.bytes ? *step.bytes : (step.throws || FAILED(step.result)) ? 0 : cb;
    return std::min<size_t>(available, std::min({asked, cb, m_limit}));
}

HRESULT CScriptedStream::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (iid != __uuidof(IUnknown) && iid != __uuidof(ISequentialStream) && iid != __uuidof(IStream))
        return E_NOINTERFACE;
    *object = static_cast<IStream*>(this);
    AddRef();
    return S_OK;
}

ULONG CScriptedStream::AddRef() {
    const std::lock_guard lock(m_mutex);
    return ++m_references;
}

ULONG CScriptedStream::Release() {
    const std::lock_guard lock(m_mutex);
    return --m_references;
}

HRESULT CScriptedStream::Read(void* buffer, ULONG cb, ULONG* bytesRead) {
    std::unique_lock lock(m_mutex);
    m_lastReadSize = cb;
    const Step step = Begin(kRead, lock);
    const size_t start = static_cast<size_t>(std::min<ULONGLONG>(m_position, m_contents.size()));
    const size_t count = Transfer(step, cb, m_contents.size() - start);
    if (count > 0)
        std::memcpy(buffer, m_contents.data() + start, count);
    m_position += count;
    if (bytesRead)
        *bytesRead = step.claim.value_or(static_cast<ULONG>(count));
    return End(step, count == cb ? S_OK : S_FALSE);
}

HRESULT CScriptedStream::Write(const void* buffer, ULONG cb, ULONG* bytesWritten) {
    std::unique_lock lock(m_mutex);
    const Step step = Begin(kWrite, lock);
    const size_t count = Transfer(step, cb, cb);
    const size_t start = static_cast<size_t>(m_position);
    if (count > 0) {
        m_contents.resize(std::max(m_contents.size(), start + count));
        std::memcpy(m_contents.data() + start, buffer, count);
    }
    m_position += count;
    if (bytesWritten)
        *bytesWritten = step.claim.value_or(static_cast<ULONG>(count));
    return End(step, S_OK);
}

HRESULT CScriptedStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) {
    std::unique_lock lock(m_mutex);
    const Step step = Begin(kSeek, lock);
    if (step.claim && newPosition)
        newPosition->QuadPart = *step.claim;
    if (step.throws || FAILED(step.result))
        return End(step, S_OK);
    const ULONGLONG base = origin == STREAM_SEEK_CUR ? m_position : origin == STREAM_SEEK_END ? m_contents.size() : 0;
    const ULONGLONG target = base + static_cast<ULONGLONG>(move.QuadPart);
    if (origin > STREAM_SEEK_END || static_cast<LONGLONG>(target) < 0)
        return STG_E_INVALIDFUNCTION;
    m_position = target;
    if (!step.claim && newPosition)
        newPosition->QuadPart = target;
    return End(step, S_OK);
}

HRESULT CScriptedStream::SetSize(ULARGE_INTEGER newSize) {
    std::unique_lock lock(m_mutex);
    const Step step = Begin(kSetSize, lock);
    if (SUCCEEDED(step.result))
        m_contents.resize(static_cast<size_t>(newSize.QuadPart));
    return End(step, S_OK);
}

HRESULT CScriptedStream::Stat(STATSTG* stat, DWORD flag) {
    std::unique_lock lock(m_mutex);
    const Step step = Begin(kStat, lock);
    if (step.throws || FAILED(step.result))
        return End(step, S_OK);
    *stat = {};
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = m_reportedSize.value_or(m_contents.size());
    if (!(flag & STATFLAG_NONAME) && !step.nothing) {
        constexpr wchar_t kName[] = L"scripted";
        stat->pwcsName = static_cast<wchar_t*>(::CoTaskMemAlloc(sizeof(kName)));
        if (!stat->pwcsName)
            return E_OUTOFMEMORY;
        std::memcpy(stat->pwcsName, kName, sizeof(kName));
    }
    return End(step, S_OK);
}

HRESULT CScriptedStream::Clone(IStream** clone) {
    std::unique_lock lock(m_mutex);
    const Step step = Begin(kClone, lock);
    *clone = nullptr;
    if (step.throws || step.nothing || FAILED(step.result))
        return End(step, S_OK);
    m_clones.push_back(std::make_unique<CScriptedStream>(m_contents));
    m_lastClone = m_clones.back().get();
    m_lastClone->m_position = m_position;
    m_lastClone->AddRef();
    *clone = m_lastClone;
    return End(step, S_OK);
}
