// Takes the place of the platform's function: a name of up to 63 characters gets some ASCII form, a longer one none.
#include "dataservices/http/PunycodeName.h"

namespace dataservices::http {

std::wstring PunycodeName(const std::wstring& name) {
    return name.size() > 63 ? std::wstring() : L"xn--" + std::to_wstring(name.size());
}

}  // namespace dataservices::http
