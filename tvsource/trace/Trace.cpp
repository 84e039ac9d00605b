#include "tvsource/trace/Trace.h"

#include "base/FormatText.h"
#include "baseclasses/SampleTimes.h"
#include "console/Text.h"
#include "tvsource/trace/CTraceLines.h"
#include "tvsource/trace/CTraceRecorder.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace tvsource {

namespace {

constexpr LONGLONG kMostBytes = std::numeric_limits<LONGLONG>::max(), kLeastBytes = -kMostBytes - 1;
constexpr LONGLONG kMostSamplePosition = kMostBytes / kSampleTimeUnitsPerByte - kMostReadBytes;

// The fields of one line; each must be there and make sense.
class CFields final {
public:
    CFields(const CTraceLines& lines, const std::string& line) : m_lines(lines), m_object(console::ParseJson(line)) {
        if (!m_object.is_object())
            throw lines.Wrong(L"it is no JSON object");
    }

    [[nodiscard]] bool Has(const char* name) const { return m_object.contains(name) && !m_object[name].is_null(); }

    // Not a copy: a copy of what is deep enough takes all of the stack.
    [[nodiscard]] const console::Json& Value(const char* name) const {
        static const console::Json none;
        return Has(name) ? m_object[name] : none;
    }

    [[nodiscard]] LONGLONG Number(const char* name, LONGLONG least, LONGLONG most) const {
        const console::Json& value = Value(name);
        const bool isTooLarge = value.is_number_unsigned() && value.get<std::uint64_t>() > std::uint64_t{kMostBytes};
        if (!value.is_number_integer() || isTooLarge || value.get<LONGLONG>() < least || value.get<LONGLONG>() > most)
            throw Wrong(name, base::FormatText(L"a number from %I64d to %I64d", least, most));
        return value.get<LONGLONG>();
    }

    [[nodiscard]] bool Flag(const char* name) const {
        if (!Value(name).is_boolean())
            throw Wrong(name, L"true or false");
        return Value(name).get<bool>();
    }

    [[nodiscard]] std::string Text(const char* name) const {
        const console::Json& value = Value(name);
        if (!value.is_string())
            throw Wrong(name, L"a text");
        return value.get<std::string>();
    }

    // Digits of base 16 behind `prefix`, as many as the type has.
    template <class T>
    [[nodiscard]] T Hex(const char* name, const std::string& prefix) const {
        const std::string text = Text(name);
        T value = 0;
        const char* const end = text.data() + text.size();
        const char* const begin = text.data() + std::min(prefix.size(), text.size());
        const auto [parsed, error] = std::from_chars(begin, end, value, 16);
        if (!text.starts_with(prefix) || text.size() != prefix.size() + 2 * sizeof(T) || error != std::errc() ||
            parsed != end)
            throw Wrong(name, base::FormatText(L"%u hexadecimal digits", static_cast<unsigned>(2 * sizeof(T))));
        return value;
    }

    [[nodiscard]] console::CCommandError Wrong(const char* name, const std::wstring& expected) const {
        return m_lines.Wrong(L"\"" + base::WideOfUtf8(name) + L"\" is not " + expected);
    }

private:
    const CTraceLines& m_lines;
    const console::Json m_object;
};

// A parser may ask for anything.
void ReadRange(const CFields& fields, TraceCall& call) {
    call.position = fields.Number("position", kLeastBytes, kMostBytes);
    call.length = fields.Number("length", kLeastBytes, kMostBytes);
}

void ReadBytes(const CFields& fields, TraceCall& call) {
    call.bytes = fields.Has("bytes") ? static_cast<LONG>(fields.Number("bytes", 0, LONG_MAX)) : kBytesNotTold;
    if (call.HasHash())
        call.hash = fields.Hex<std::uint64_t>("hash", "");
}

void ReadArguments(const CFields& fields, TraceCall& call) {
    switch (call.kind) {
        case CallKind::RequestAllocator: {
            const auto number = [&](const char* name) {
                return static_cast<LONG>(fields.Number(name, LONG_MIN, LONG_MAX));
            };
            call.buffers = number("buffers");
            call.size = number("size");
            call.align = number("align");
            call.prefix = number("prefix");
            call.preferred = fields.Flag("preferred");
            break;
        }
        case CallKind::WaitForNext:
            call.timeoutMs = static_cast<DWORD>(fields.Number("timeoutMs", 0, INFINITE));
            if (SUCCEEDED(call.result))
                ReadRange(fields, call);
            break;
        case CallKind::Request:
        case CallKind::SyncReadAligned:
        case CallKind::SyncRead:
            ReadRange(fields, call);
            break;
        case CallKind::Length:
            call.total = fields.Number("total", kLeastBytes, kMostBytes);
            call.available = fields.Number("available", kLeastBytes, kMostBytes);
            break;
        default:
            break;
    }
}

TraceCall ReadCall(const CTraceLines& lines, const CFields& fields, size_t before) {
    if (fields.Number("call", 0, kMostBytes) != static_cast<LONGLONG>(before) + 1)
        throw lines.Wrong(base::FormatText(L"call %I64u should be here", static_cast<ULONGLONG>(before) + 1));
    if (before >= kMostCalls)
        throw lines.Wrong(L"there are too many calls");
    const std::string name = fields.Text("name");
    const std::optional<CallKind> kind = CallKindFrom(name);
    if (!kind)
        throw lines.Wrong(L"'" + console::Printable(base::WideOfUtf8(name.substr(0, 40))) +
                          L"' is no call of IAsyncReader");
    TraceCall call{.kind = *kind};
    call.after = static_cast<unsigned>(fields.Number("after", 0, static_cast<LONGLONG>(before)));
    call.thread = static_cast<unsigned>(fields.Number("thread", 1, kMostThreads));
    call.atUs = fields.Number("atUs", 0, kMostRunUs);
    call.tookUs = fields.Number("tookUs", 0, kMostRunUs);
    call.result = static_cast<HRESULT>(fields.Hex<std::uint32_t>("result", "0x"));
    ReadArguments(fields, call);
    if (call.GivesBytes())
        ReadBytes(fields, call);
    return call;
}

}  // namespace

bool IsReplayable(const TraceCall& call) noexcept {
    const auto isWithin = [&](LONGLONG mostPosition) {
        return std::clamp(call.position, -mostPosition, mostPosition) == call.position &&
               std::clamp(call.length, -kMostReadBytes, kMostReadBytes) == call.length;
    };
    if (call.kind == CallKind::SyncRead)
        return isWithin(kMostBytes - kMostReadBytes);
    return isWithin(kMostSamplePosition);  // those without a sample have 0
}

Trace ReadTrace(const std::wstring& path) {
    CTraceLines lines(path);
    const std::optional<std::string> first = lines.Next();
    if (!first)
        throw lines.Wrong(L"it is empty");
    const CFields header(lines, *first);
    if (header.Number("tvsourceTrace", 1, kMostBytes) != CTraceRecorder::kVersion)
        throw lines.Wrong(base::FormatText(L"only version %d is known", CTraceRecorder::kVersion));
    Trace trace;
    trace.source = base::WideOfUtf8(header.Text("source"));
    if (header.Has("length"))
        trace.length = header.Number("length", kLeastBytes, kMostBytes);

    while (const std::optional<std::string> line = lines.Next()) {
        const CFields fields(lines, *line);
        if (fields.Has("ended")) {
            trace.ended = fields.Text("ended");
            if (fields.Number("calls", 0, kMostBytes) != static_cast<LONGLONG>(trace.calls.size()))
                throw lines.Wrong(L"calls are missing before it");
            if (lines.Next())
                throw lines.Wrong(L"there is something behind the end");
            return trace;
        }
        trace.calls.push_back(ReadCall(lines, fields, trace.calls.size()));
        trace.threads = std::max(trace.threads, trace.calls.back().thread);
    }
    throw lines.Wrong(L"the end is missing: the trace was cut off");
}

}  // namespace tvsource
