// The source filter: a name or an open stream goes in, a parser reads it through the pin "Output".
//
//   CCustomFileSourceFilter   the filter: IFileSourceFilter, ITavelIStreamFileSource, IDataFlowControl
//   CCustomFileSourcePin      its pin: IAsyncReader for parsers, IStream for callers that want the bytes as they are
//   MediaTypeDecision.h       which media types the pin offers for a source's content
//   CMyModule, Module.cpp     the DLL around them
//
// A reader waits until the first call of IDataFlowControl::EnableDataFlow or DisableDataFlow. Parsers read while they
// connect: a host calls EnableDataFlow before it connects the pin.
#pragma once

#include "filter/CCustomFileSourceFilter.h"
#include "filter/CCustomFileSourcePin.h"
