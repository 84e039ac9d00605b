// The smallest host: prints what the filter knows about a source, and reads it to its end as a parser would.
//
//   ReadThrough FULL-PATH-OR-URI
#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <vfwmsgs.h>
#include <wrl/client.h>

#include <TvFileSourceAsync.h>

#include <cstdio>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

HRESULT ReadThrough(const wchar_t* name) {
    ComPtr<IBaseFilter> filter;
    HRESULT hr = CoCreateInstance(CLSID_TvFileSourceAsync, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter));
    if (FAILED(hr))
        return hr;

    ComPtr<IFileSourceFilter> source;
    ComPtr<IDataFlowControl> flow;
    if (FAILED(hr = filter.As(&source)) || FAILED(hr = filter.As(&flow)))
        return hr;
    if (FAILED(hr = source->Load(name, nullptr)))
        return hr;
    // Before anything reads or connects: every reader waits until the first of these calls.
    if (FAILED(hr = flow->EnableDataFlow()))
        return hr;

    // A graph would be given `pin` here: graph->AddFilter(filter.Get(), L"Source"); graph->Render(pin.Get());
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    if (FAILED(hr = filter->EnumPins(&pins)) || (hr = pins->Next(1, &pin, nullptr)) != S_OK)
        return FAILED(hr) ? hr : E_UNEXPECTED;
    ComPtr<IAsyncReader> reader;
    if (FAILED(hr = pin.As(&reader)))
        return hr;

    LONGLONG total = 0;
    LONGLONG available = 0;
    if (FAILED(hr = reader->Length(&total, &available)))
        return hr;
    const bool isLengthKnown = hr != VFW_S_ESTIMATED;
    if (!isLengthKnown)
        std::printf("length unknown\n");
    else
        std::printf("length %lld\n", total);

    // SyncRead tells that a read was short, not by how much; whoever needs the count of the last piece reads the pin's
    // IStream instead, or asks for no more than Length has given.
    std::vector<BYTE> piece(64 * 1024);
    unsigned long long sum = 0;
    for (LONGLONG position = 0; position < total;) {
        const LONGLONG left = total - position;
        const LONG wanted =
            left < static_cast<LONGLONG>(piece.size()) ? static_cast<LONG>(left) : static_cast<LONG>(piece.size());
        if (FAILED(hr = reader->SyncRead(position, wanted, piece.data())))
            return hr;
        // The end of a source whose length nobody knew, or a break.
        if (hr != S_OK) {
            std::printf("the source ended or failed behind byte %lld\n", position);
            if (isLengthKnown)
                return HRESULT_FROM_WIN32(ERROR_HANDLE_EOF);
            break;
        }
        for (LONG i = 0; i < wanted; ++i)
            sum += piece[static_cast<size_t>(i)];
        position += wanted;
    }
    std::printf("sum of bytes %llu\n", sum);
    return S_OK;
}

}  // namespace

int wmain(int count, wchar_t** words) {
    if (count != 2) {
        std::fprintf(stderr, "usage: ReadThrough FULL-PATH-OR-URI\n");
        return 2;
    }
    HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(hr)) {
        hr = ReadThrough(words[1]);
        CoUninitialize();
    }
    if (FAILED(hr))
        std::fprintf(stderr, "failed: 0x%08lX\n", static_cast<unsigned long>(hr));
    return SUCCEEDED(hr) ? 0 : 1;
}
