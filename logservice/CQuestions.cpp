#include "logservice/CQuestions.h"

#include "base/CDeadline.h"

#include <algorithm>
#include <mutex>

namespace logservice {

CQuestions::CQuestions(DWORD patienceMs) noexcept : m_patienceMs(patienceMs) {}

LONG CQuestions::Ask(const logview::Question& question) {
    const base::CDeadline limit(m_patienceMs);
    const std::lock_guard lock(m_lock);
    if (m_isClosed || m_patienceMs == 0)
        return question.defaultAnswer;
    const auto waiting =
        m_waiting.insert(m_waiting.end(), {++m_last, &question, ::GetTickCount64() + m_patienceMs, std::nullopt});
    while (!waiting->answer && !m_isClosed && !limit.IsOver())
        m_lock.Await(m_answered, limit.Left());
    const LONG answer = waiting->answer.value_or(question.defaultAnswer);
    m_waiting.erase(waiting);
    return answer;
}

std::optional<CQuestions::Open> CQuestions::Next() const {
    const std::lock_guard lock(m_lock);
    const ULONGLONG now = ::GetTickCount64();
    const auto next = std::ranges::find_if(
        m_waiting, [&](const Waiting& waiting) { return !waiting.answer && now < waiting.untilMs; });
    if (next == m_waiting.end())
        return std::nullopt;
    return Open{next->number, *next->question, static_cast<DWORD>(next->untilMs - now)};
}

bool CQuestions::Answer(ULONGLONG number, LONG answer) noexcept {
    {
        const std::lock_guard lock(m_lock);
        const auto found = std::ranges::find(m_waiting, number, &Waiting::number);
        if (found == m_waiting.end())
            return false;
        found->answer = answer;
    }
    ::WakeAllConditionVariable(&m_answered);
    return true;
}

void CQuestions::Close() noexcept {
    {
        const std::lock_guard lock(m_lock);
        m_isClosed = true;
    }
    ::WakeAllConditionVariable(&m_answered);
}

}  // namespace logservice
