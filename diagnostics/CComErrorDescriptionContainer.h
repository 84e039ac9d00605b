// A table of result codes and their texts. It never changes after construction.
#pragma once

#include "diagnostics/IComErrorDescription.h"

#include <map>
#include <string>
#include <utility>

class CComErrorDescriptionContainer : public IComErrorDescription {
public:
    using Descriptions = std::map<HRESULT, std::wstring>;

    explicit CComErrorDescriptionContainer(Descriptions descriptions) : m_descriptions(std::move(descriptions)) {}
    CComErrorDescriptionContainer(const CComErrorDescriptionContainer&) = delete;
    CComErrorDescriptionContainer& operator=(const CComErrorDescriptionContainer&) = delete;

    [[nodiscard]] std::wstring GetDescription(HRESULT hr) const override;

private:
    const Descriptions m_descriptions;
};
