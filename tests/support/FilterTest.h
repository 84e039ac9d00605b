// What the tests of the filter have in common: texts that can be compared whole, and the support that most of them use.
#pragma once

#include "tests/support/CFilterHost.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/CTestSample.h"
#include "tests/support/Results.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

using Microsoft::WRL::ComPtr;
using Stream = CScriptedStream;
using Log = std::vector<std::wstring>;

// A read's result and its buffer, of four bytes at least, where '.' stands for what was left alone.
using Got = std::pair<HRESULT, std::string>;
inline Got SyncRead(IAsyncReader& reader, LONGLONG position, LONG length) {
    std::string bytes(static_cast<size_t>(std::max(length, 4L)), '.');
    const HRESULT hr = reader.SyncRead(position, length, reinterpret_cast<BYTE*>(bytes.data()));
    return {hr, bytes};
}

// A record of the filter: its severity, function and message. Category and file are the same for all.
inline std::wstring Line(LONG severity, const std::wstring& function, const std::wstring& message) {
    return std::to_wstring(severity) + L" TvFileSourceAsync CustomFileSource " + function + L": " + message;
}
// The last one of every filter.
inline const std::wstring kStopped =
    Line(1, L"CCustomFileSourceFilter::CreateStreamThread", L"Create stream thread stop message received");

// A type for sources to be opened with, and what is then logged.
inline const AM_MEDIA_TYPE kWave{MEDIATYPE_Stream, MEDIASUBTYPE_WAVE, FALSE, FALSE, 0, GUID_NULL, nullptr, 0, nullptr};
inline const std::wstring kWaveLine =
    Line(1, L"CCustomFileSourceFilter::SetSourceFileStream",
         L"Using MediaType set from outside. Subtype is {E436EB8B-524F-11CE-9F53-0020AF0BA770}");

// Runs the body on a thread of its own, which finds a logger, and gives what the body has logged.
template <class Body>
Log LinesOf(Body&& body) {
    const CPublishedLogger logger;
    OnNewThread(body);
    Log lines;
    for (const LoggedRecord& record : logger->Records())
        lines.push_back(std::to_wstring(record.severity) + L" " + record.category + L" " + record.file + L" " +
                        record.function + L": " + record.message);
    return lines;
}
