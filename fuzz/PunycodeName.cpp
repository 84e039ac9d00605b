// In place of the platform's function: some name in ASCII, or none for some.
#include "dataservices/http/PunycodeName.h"

namespace dataservices::http {

std::wstring PunycodeName(const std::wstring& name) {
    return name.size() > 63 ? std::wstring() : L"xn--" + std::to_wstring(name.size());
}

}  // namespace dataservices::http
