#include "logview/CRecorder.h"

#include "base/CAutoDestructor.h"
#include "base/ComBoundary.h"
#include "base/LongPath.h"
#include "console/CCommandError.h"
#include "console/COutputFile.h"
#include "console/Text.h"
#include "logview/LogLines.h"
#include "logview/ProfileText.h"
#include "logview/RecordingFiles.h"

#include <algorithm>
#include <utility>

namespace logview {

namespace {

constexpr std::size_t kMostPieceBytes = 256 << 10;  // more is written without waiting for a Flush
constexpr std::size_t kMostPendingBytes = 8 << 20;  // while writing fails

}  // namespace

CRecorder::CRecorder(Options options, const CProfileTable& profile, const CSessions& sessions,
                     std::function<void(const std::wstring&)> tell)
    : m_options(std::move(options)), m_profile(profile), m_sessions(sessions), m_tell(std::move(tell)) {
    m_tablesAtMs = ::GetTickCount64() + m_options.tablesEveryMs;
    if (const DWORD error = TryFolder(); error != ERROR_SUCCESS)
        Fail(error);
}

CRecorder::~CRecorder() {
    Finish();
}

DWORD CRecorder::MakeFolder() const {
    const std::wstring folder = base::FullPathOf(m_options.folder);
    // The first ones are there, or are a drive or a share, which can't be made.
    for (std::size_t end = folder.find(L'\\'); end != folder.npos; end = folder.find(L'\\', end + 1))
        ::CreateDirectoryW(base::OpenablePath(folder.substr(0, end)).c_str(), nullptr);
    if (::CreateDirectoryW(base::OpenablePath(folder).c_str(), nullptr))
        return ERROR_SUCCESS;
    const DWORD error = ::GetLastError(), attributes = ::GetFileAttributesW(base::OpenablePath(folder).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) ? ERROR_SUCCESS : error;
}

// Whether files can be made in it; a recording of nothing leaves none.
DWORD CRecorder::TryFolder() const {
    if (const DWORD error = MakeFolder(); error != ERROR_SUCCESS)
        return error;
    const std::wstring path = m_options.folder + L"\\try-" + std::to_wstring(::GetCurrentProcessId()) + L".new";
    const base::CAutoHandle file(::CreateFileW(base::OpenablePath(base::FullPathOf(path)).c_str(),
                                               GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                               FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    const DWORD error = ::GetLastError();
    return file || error == ERROR_FILE_EXISTS ? ERROR_SUCCESS : error;
}

DWORD CRecorder::OpenPart() {
    if (const DWORD error = MakeFolder(); error != ERROR_SUCCESS)
        return error;
    const std::vector<ULONG> parts = PartNumbers(m_options.folder);
    m_part = std::max(m_part, parts.empty() ? 0 : parts.back());
    for (int attempt = 0; attempt < 100 && m_part < kMostParts; ++attempt) {
        const std::wstring path = m_options.folder + L"\\" + PartName(++m_part);
        DWORD error = m_log.Create(path + kLogSuffix);
        if (error == ERROR_SUCCESS)
            error = m_times.Create(path + kTimesSuffix);
        if (error == ERROR_SUCCESS)
            error = m_profiles.Create(path + kProfilesSuffix);
        if (error == ERROR_SUCCESS)
            return error;
        ClosePart();
        if (error != ERROR_FILE_EXISTS)  // somebody else records here too
            return error;
    }
    return ERROR_FILE_EXISTS;
}

void CRecorder::ClosePart() noexcept {
    m_log.Close();
    m_times.Close();
    m_profiles.Close();
    m_partRecords = 0;
}

void CRecorder::RemoveOldParts() const {
    const std::vector<ULONG> parts = PartNumbers(m_options.folder);
    const std::size_t stay = std::max<std::size_t>(m_options.mostParts, 1);
    for (std::size_t i = 0; i + stay < parts.size(); ++i) {
        for (const wchar_t* const suffix : {kLogSuffix, kTimesSuffix, kProfilesSuffix})
            ::DeleteFileW(
                base::OpenablePath(base::FullPathOf(m_options.folder + L"\\" + PartName(parts[i]) + suffix)).c_str());
    }
}

// A line of the log has one of the times.
DWORD CRecorder::Append(const Piece& piece) {
    DWORD error = m_log.Append(piece.log);
    if (error == ERROR_SUCCESS)
        error = m_times.Append(piece.times);
    if (error == ERROR_SUCCESS)
        error = m_profiles.Append(piece.profiles);
    for (CGrowingFile* const file : {&m_log, &m_times, &m_profiles}) {
        if (error == ERROR_SUCCESS)
            file->Keep();
        else
            file->TakeBack();
    }
    return error;
}

DWORD CRecorder::Write() {
    while (!m_pending.empty()) {
        const Piece& piece = m_pending.front();
        if (PartBytes() > 0 && PartBytes() + piece.Bytes() > m_options.mostPartBytes)
            ClosePart();
        const bool isNew = !m_log.IsOpen();
        if (isNew) {
            if (const DWORD error = OpenPart(); error != ERROR_SUCCESS)
                return error;
        }
        if (const DWORD error = Append(piece); error != ERROR_SUCCESS)
            return error;
        m_partRecords += piece.records;
        m_pendingBytes -= piece.Bytes();
        m_pending.pop_front();
        if (isNew)
            RemoveOldParts();
    }
    return ERROR_SUCCESS;
}

void CRecorder::DropOldestPiece() noexcept {
    m_lost += m_pending.front().records;
    m_pendingBytes -= m_pending.front().Bytes();
    m_pending.pop_front();
}

void CRecorder::Fail(DWORD error) {
    ClosePart();
    m_retryAtMs = ::GetTickCount64() + m_options.retryEveryMs;
    if (std::exchange(m_failure, error) == ERROR_SUCCESS)
        m_tell(L"Cannot record into " + console::Printable(m_options.folder) + L": " +
               console::ResultText(HRESULT_FROM_WIN32(error)) + L"; trying again");
}

void CRecorder::WriteOrFail() {
    if (const DWORD error = Write(); error != ERROR_SUCCESS) {
        Fail(error);
        return;
    }
    if (m_log.IsOpen() && std::exchange(m_failure, ERROR_SUCCESS) != ERROR_SUCCESS)
        m_tell(L"Recording into " + console::Printable(m_options.folder) + L" again; " + std::to_wstring(m_lost) +
               L" records are lost");
}

void CRecorder::Take(const Arrival& arrival) noexcept {
    bool isTaken = false;
    try {
        const auto* const record = std::get_if<LogRecord>(&arrival.record);
        const std::string line =
            record ? FormatLogLine(*record) : ProfileLine(arrival, std::get<ProfileRecord>(arrival.record));
        const std::string times = record ? TimesLine(arrival) : "";
        const std::size_t bytes = line.size() + times.size();
        const ULONGLONG most = std::min<ULONGLONG>(m_options.mostPartBytes, kMostPieceBytes);
        const bool isFull = !m_pending.empty() && m_pending.back().Bytes() + bytes > most;
        if (isFull && m_failure == ERROR_SUCCESS)
            WriteOrFail();
        if (isFull || m_pending.empty())
            m_pending.emplace_back();
        Piece& piece = m_pending.back();
        std::string& text = record ? piece.log : piece.profiles;
        text.reserve(text.size() + line.size());
        piece.times += times;
        text += line;
        ++piece.records;
        m_pendingBytes += bytes;
        isTaken = true;
        while (m_pendingBytes > kMostPendingBytes && m_pending.size() > 1)
            DropOldestPiece();
    } catch (...) {
        m_lost += isTaken ? 0 : 1;
    }
}

DWORD CRecorder::WriteTables() {
    if (m_writtenReports == m_profile.Reports() && m_writtenChanges == m_sessions.Changes())
        return ERROR_SUCCESS;
    if (const DWORD error = MakeFolder(); error != ERROR_SUCCESS)
        return error;
    console::CReplacingFile profile(m_options.folder + L"\\" + kProfileTable);
    profile.Write(ProfileCsv(m_profile.Rows(), m_profile.LeftOut()));
    profile.Finish();
    console::CReplacingFile sessions(m_options.folder + L"\\" + kSessionsTable);
    sessions.Write(m_sessions.Csv());
    sessions.Finish();
    m_writtenReports = m_profile.Reports();
    m_writtenChanges = m_sessions.Changes();
    return ERROR_SUCCESS;
}

void CRecorder::FlushAll(bool isLast) {
    const ULONGLONG nowMs = ::GetTickCount64();
    if (m_log.IsOpen() && !m_log.IsThere()) {
        m_lost += m_partRecords;
        Fail(ERROR_PATH_NOT_FOUND);
        m_retryAtMs = nowMs;  // a new one may be made in its place
    }
    if (isLast || m_failure == ERROR_SUCCESS || nowMs >= m_retryAtMs)
        WriteOrFail();
    if (!isLast && nowMs < m_tablesAtMs)
        return;
    m_tablesAtMs = nowMs + m_options.tablesEveryMs;
    std::wstring reason;
    try {
        if (const DWORD error = WriteTables(); error != ERROR_SUCCESS)
            reason = console::ResultText(HRESULT_FROM_WIN32(error));
    } catch (const console::CCommandError& error) {
        reason = error.Text();
    }
    if (!std::exchange(m_haveTablesFailed, !reason.empty()) && !reason.empty())
        m_tell(L"Cannot write the tables of the recording: " + reason + L"; trying again");
}

void CRecorder::Flush() noexcept {
    base::RunQuietly([&] { FlushAll(false); });
}

void CRecorder::Finish() noexcept {
    bool isDone = false;
    base::RunQuietly([&] {
        FlushAll(true);
        isDone = true;
    });
    if (!isDone)  // out of memory
        m_haveTablesFailed = true;
    while (!m_pending.empty())
        DropOldestPiece();
    ClosePart();
}

}  // namespace logview
