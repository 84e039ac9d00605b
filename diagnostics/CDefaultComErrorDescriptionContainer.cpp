#include "diagnostics/CDefaultComErrorDescriptionContainer.h"

namespace {

HRESULT Code(unsigned long value) noexcept {
    return static_cast<HRESULT>(value);
}

const CDefaultComErrorDescriptionContainer g_descriptions;

}  // namespace

// The last text is spelled like this on purpose: people search for it.
CDefaultComErrorDescriptionContainer::CDefaultComErrorDescriptionContainer()
    : CComErrorDescriptionContainer({
          {Code(0x80040001), L"TK: Element was not found."},
          {Code(0x80040002), L"TK: Specified element does already exist."},
          {Code(0x80040003), L"TK: Cannot seek in stream!"},
          {Code(0x80040004), L"TK: Operation timed out."},
          {Code(0x80040005), L"TK: Container is empty, so no item can be fetched."},
          {Code(0x80040006), L"TK: The value is out of range."},
          {Code(0x8004FFFF), L"TK: Catastraphic Failure - you better reboot your computer ;)"},
      }) {}

const CDefaultComErrorDescriptionContainer& CDefaultComErrorDescriptionContainer::Instance() noexcept {
    return g_descriptions;
}
