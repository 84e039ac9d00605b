// The filter as a host meets it: created, given a source, asked what it offers, read.
//
// This file and its source are the shortest way through the filter's interfaces for whoever builds a host of their own:
//
//   CSourceFilter source(L"");          // the registered class
//   source.Load(path, std::nullopt);    // opens the file; the pin now offers media types
//   source.EnableDataFlow();            // before anything connects or reads: see below
//   graph->AddFilter(source.Filter(), L"Source");
//   graph->Render(source.OutputPin());
//
// The filter has a gate that every reader passes. As long as neither EnableDataFlow nor DisableDataFlow was ever
// called, a reader waits there, for good if need be; and a parser already reads while it connects. So enable the data
// flow first.
//
// Threads: one, in the multithreaded apartment.  Lifetime: the library of the filter stays loaded until this object
// goes; whoever keeps interfaces of the filter must release them before.  Errors: CCommandError.
#pragma once

#include "TKDataServices.h"
#include "base/CAutoDestructor.h"
#include "framework/uri/CParsedName.h"
#include "tvsource/source/LayerOptions.h"
#include "tvsource/source/MediaTypes.h"

#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <wrl/client.h>

#include <optional>
#include <string>
#include <vector>

namespace tvsource {

class CSourceFilter final {
public:
    // What the filter says about its source by IFileSourceFilter::GetCurFile.
    struct CurrentFile {
        std::wstring name;
        StreamType type;
    };

    // How the filter's look at the content went: see ITavelSourceOpenResult. Empty: the filter didn't look, or is an
    // older one that doesn't tell.
    [[nodiscard]] std::optional<HRESULT> DetectionResult() const;

    // In bytes. Of a source that does not know its length, `total` is only a bound and reads end where the data end.
    struct Length {
        LONGLONG total;
        bool estimated;
    };

    // `library`: the path of a DLL whose class is used without registration, or empty for the registered class.
    explicit CSourceFilter(const std::wstring& library);

    // Opens `name`, a full path or a URI. With a subtype the pin offers just that, without one it offers what the
    // filter finds out. Replaces what was loaded before. Where the name can't be opened, the filter is asked why; the
    // name is opened once only.
    // With `options`, what is no local file is opened here, and the filter is given the stream.
    void Load(const std::wstring& name, const std::optional<GUID>& subtype, const LayerOptions& options = {});

    // Null: the source isn't one that is waited for, or the filter is an older one.
    [[nodiscard]] Microsoft::WRL::ComPtr<ITKDSSourceControl> Control() const;
    // How the source stands. Empty: it is none that is waited for, or the filter is an older one.
    [[nodiscard]] std::optional<TKDS_SOURCE_STATUS> Status() const;

    // Ends the reads that wait, and all that would have to, until ReadAgain. A host does this before it stops a graph:
    // some parsers wait for their reads there, and those for a network. Filters that can't do it don't.
    void EndReads() const;
    void ReadAgain() const;

    // Opens the gate for readers.
    void EnableDataFlow();

    // The media types that the pin offers to parsers, in its order.
    [[nodiscard]] std::vector<StreamType> OfferedTypes() const;
    [[nodiscard]] Length SourceLength() const;
    [[nodiscard]] CurrentFile Current() const;

    // The source's bytes as a stream. Reads pass the gate.
    [[nodiscard]] Microsoft::WRL::ComPtr<IStream> Content() const;

    // Why a read at `position` came short, which the pin's IAsyncReader doesn't tell. Reads one byte there, for which a
    // network may have to be waited for, and gives the failure of that.  S_FALSE: the data have ended.  S_OK: the byte
    // is there now, for the next read too. A source of unknown length is tried where it stands.
    [[nodiscard]] HRESULT TryByteAt(LONGLONG position) const;

    // Where the filter's DLL is, with a backslash at the end: it looks for its companions there first.
    [[nodiscard]] std::wstring Folder() const;

    [[nodiscard]] IBaseFilter* Filter() const noexcept { return m_filter.Get(); }
    [[nodiscard]] IPin* OutputPin() const noexcept { return m_pin.Get(); }
    [[nodiscard]] IAsyncReader* Reader() const noexcept { return m_reader.Get(); }

private:
    // Null where the filter is an older one.
    [[nodiscard]] Microsoft::WRL::ComPtr<IAMOpenProgress> OpenProgress() const;

    void CreateFrom(const std::wstring& library);
    void LoadWith(const framework::CParsedName& name, const AM_MEDIA_TYPE* type, IUnknown* accessFactory);

    base::CAutoLibrary m_library;  // stands first, so that it is unloaded after all that comes from it is released
    Microsoft::WRL::ComPtr<IBaseFilter> m_filter;
    Microsoft::WRL::ComPtr<IPin> m_pin;
    Microsoft::WRL::ComPtr<IAsyncReader> m_reader;
};

}  // namespace tvsource
