// The answers that the logging service, or the person in front of it, has given once and for all, for the whole
// process.
//
// Threads: any. Two threads that ask the same question at the same time may both be answered by the person; the answer
// that is stored first stays.
#pragma once

#include "base/CCriticalSection.h"

#include <map>
#include <optional>
#include <string>
#include <tuple>

namespace TKRuntimeLogger {

class CAnswerCache final {
public:
    // Severity, category, file, line, function, question, second text; compared in this order. Null texts count as
    // empty.
    using Key = std::tuple<LONG, std::wstring, std::wstring, LONG, std::wstring, std::wstring, std::wstring>;

    [[nodiscard]] static CAnswerCache& Instance();

    [[nodiscard]] std::optional<LONG> Find(const Key& key);
    void Store(Key key, LONG answer);

private:
    base::CCriticalSection m_lock;  // guards the map; never held while anyone is asked
    std::map<Key, LONG> m_answers;
};

}  // namespace TKRuntimeLogger
