#include "tvsource/trace/TraceCall.h"

#include "base/FormatText.h"
#include "console/CCommandError.h"
#include "console/Text.h"
#include "tvsource/source/CSha256.h"

#include <algorithm>
#include <iterator>

namespace tvsource {

namespace {

constexpr const char* kNames[kCallKinds] = {"RequestAllocator", "Request", "WaitForNext", "SyncReadAligned",
                                            "SyncRead",         "Length",  "BeginFlush",  "EndFlush"};

void AddArguments(console::Json& line, const TraceCall& call) {
    switch (call.kind) {
        case CallKind::RequestAllocator:
            line.update({{"buffers", call.buffers},
                         {"size", call.size},
                         {"align", call.align},
                         {"prefix", call.prefix},
                         {"preferred", call.preferred}});
            break;
        case CallKind::WaitForNext:
            line["timeoutMs"] = call.timeoutMs;
            if (FAILED(call.result))
                break;
            [[fallthrough]];
        case CallKind::Request:
        case CallKind::SyncReadAligned:
        case CallKind::SyncRead:
            line["position"] = call.position;
            line["length"] = call.length;
            break;
        default:
            break;
    }
}

}  // namespace

const char* NameOf(CallKind kind) noexcept {
    return kNames[static_cast<size_t>(kind)];
}

std::optional<CallKind> CallKindFrom(const std::string& name) noexcept {
    const auto* const found = std::find(std::begin(kNames), std::end(kNames), name);
    return found == std::end(kNames) ? std::nullopt
                                     : std::optional(static_cast<CallKind>(std::distance(std::begin(kNames), found)));
}

LONG BytesOfSyncRead(HRESULT result, LONGLONG position, LONGLONG length,
                     const std::optional<LONGLONG>& total) noexcept {
    if (FAILED(result) || length <= 0)
        return 0;
    if (result == S_OK)
        return static_cast<LONG>(length);
    if (!total || position < 0 || *total - position >= length)
        return kBytesNotTold;
    return static_cast<LONG>(std::max(0LL, *total - position));
}

std::wstring CallText(const TraceCall& call) {
    const std::wstring name = base::WideOfUtf8(NameOf(call.kind));
    const bool isRead = call.GivesBytes() || call.kind == CallKind::Request;
    if (!isRead || (call.kind == CallKind::WaitForNext && FAILED(call.result)))
        return name;
    return name + L" of " + console::CountText(call.length, L"byte") + base::FormatText(L" at %I64d", call.position);
}

console::Json ResultObject(const TraceCall& call) {
    console::Json object{{"result", console::JsonText(console::CodeText(call.result))}};
    if (call.kind == CallKind::Length) {
        object["total"] = call.total;
        object["available"] = call.available;
    }
    if (call.GivesBytes())
        object["bytes"] = call.bytes == kBytesNotTold ? console::Json() : console::Json(call.bytes);
    if (call.GivesBytes() && call.HasHash())
        object["hash"] = HexOf(call.hash);
    return object;
}

std::wstring ResultText(const TraceCall& call) {
    std::wstring text = console::CodeText(call.result);
    if (call.kind == CallKind::Length)
        text +=
            L", " + console::CountText(call.total, L"byte") + base::FormatText(L", %I64d available", call.available);
    if (call.GivesBytes() && call.bytes != kBytesNotTold)
        text += L", " + console::CountText(call.bytes, L"byte");
    if (call.GivesBytes() && call.HasHash())
        text += L", hash " + base::WideOfUtf8(HexOf(call.hash));
    return text;
}

std::string TraceLine(const TraceCall& call, unsigned long long number) {
    console::Json line{{"call", number},
                       {"after", call.after},
                       {"thread", call.thread},
                       {"atUs", call.atUs},
                       {"name", NameOf(call.kind)}};
    AddArguments(line, call);
    line.update(ResultObject(call));
    line["tookUs"] = call.tookUs;
    return line.dump();
}

}  // namespace tvsource
