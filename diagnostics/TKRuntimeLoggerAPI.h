// Everything that the code of a module needs to report what it does.
//
//   LogSite.h                  TK_LOG: records; severities, categories and source files in LogTypes.h
//   CheckedCall.h              TK_CHECK_CALL, TK_CHECK_POINTER, TK_CHECK_RETVAL: log a failure and leave
//   CExitScopeGuard.h          TK_EXIT_SCOPE_GUARD: log a function that ends with a failure
//   CTimingScope.h             TK_PROFILE: how long a block takes
//   CHangDetector.h            an activity that should go on, and doesn't
//   CDescriptions.h            codes and their names
//   CWatchedValue.h            values whose changes are logged
//   CDiagnosticRegistration.h  which objects are alive
//   EnvironmentReport.h        the process, its system and its modules, for support
//   LogDestination.h           where records go
//
// A function that reports all of that opens with its timing scope, then the guard, then the pointer checks:
//
//   HRESULT hr = S_OK;
//   TK_PROFILE(kSource, L"CThing::Open", L"");
//   TK_EXIT_SCOPE_GUARD(kSource, L"CThing::Open", hr);
//   TK_CHECK_POINTER(kSource, L"CThing::Open", hr, pStream);
//   TK_CHECK_CALL(kSource, L"CThing::Open", hr, pStream->Commit(0));
#pragma once

#include "diagnostics/CDescriptions.h"
#include "diagnostics/CDiagnosticRegistration.h"
#include "diagnostics/CExitScopeGuard.h"
#include "diagnostics/CHangDetector.h"
#include "diagnostics/CTimingScope.h"
#include "diagnostics/CWatchedValue.h"
#include "diagnostics/CheckedCall.h"
#include "diagnostics/EnvironmentReport.h"
#include "diagnostics/HResultText.h"
#include "diagnostics/ITKRuntimeLoggerAPI.h"
#include "diagnostics/ITKRuntimeLoggerProfilesCollector.h"
#include "diagnostics/LogDestination.h"
#include "diagnostics/LogSite.h"
#include "diagnostics/LogTypes.h"
