#include "filter/FilterSetup.h"

#include "TvFileSourceAsync.h"

#include <uuids.h>

namespace filter {

namespace {

const AMOVIESETUP_MEDIATYPE kOutputType = {&MEDIATYPE_Stream, &MEDIASUBTYPE_NULL};

wchar_t g_outputName[] = L"Output";

const AMOVIESETUP_PIN kOutputPin = {
    g_outputName,
    FALSE,  // rendered
    TRUE,   // output
    FALSE,  // zero instances allowed
    FALSE,  // many instances
    &CLSID_NULL,
    nullptr,  // connects to pin
    1,
    &kOutputType,
};

}  // namespace

const AMOVIESETUP_FILTER kFilterSetup = {
    &CLSID_TvFileSourceAsync, L"Tavel File Source (Async.)", MERIT_UNLIKELY, 1, &kOutputPin,
};

}  // namespace filter
