#include "diagnostics/CAnswerCache.h"

#include <mutex>
#include <utility>

namespace TKRuntimeLogger {

CAnswerCache& CAnswerCache::Instance() {
    static CAnswerCache cache;  // made by the first question, not at load
    return cache;
}

std::optional<LONG> CAnswerCache::Find(const Key& key) {
    const std::lock_guard lock(m_lock);
    const auto found = m_answers.find(key);
    return found != m_answers.end() ? std::optional(found->second) : std::nullopt;
}

void CAnswerCache::Store(Key key, LONG answer) {
    const std::lock_guard lock(m_lock);
    m_answers.emplace(std::move(key), answer);
}

}  // namespace TKRuntimeLogger
