// What a method of this layer answers, and the error info that goes with it. Whoever finds ISupportErrorInfo on an
// object takes the thread's error info for that of the call that has just failed. So each failure leaves its own or
// none, never that of an older one.
//
//   return MethodResult(kNotFound).Report(__uuidof(ITKDSDirectory));    // ComMethod does this
//
// The framework's codes are numbers that the platform uses for other purposes. Only a failure of our own has the
// framework's text; of an object that the caller passed in, the code is passed on as it is.
//
// Threads: any.
#pragma once

#include <windows.h>

#include <unknwn.h>

namespace dataservices {

class MethodResult final {
public:
    // Our own; not explicit, so that bodies of methods return codes.
    MethodResult(HRESULT hr) noexcept : m_hr(hr) {}

    // That of a call to the caller's object by `Interface`. Asks the object, which may throw, whether it reports
    // failures of that interface.
    template <class Interface>
    [[nodiscard]] static MethodResult Of(Interface& callersObject, HRESULT hr) {
        return {hr, FAILED(hr) && Reports(callersObject, __uuidof(Interface)) ? Info::AsItIs : Info::None};
    }

    // Sees to the thread's error info and returns the code. Success leaves the error info as it is.
    [[nodiscard]] HRESULT Report(REFIID iid) const noexcept;

private:
    enum class Info { Text, None, AsItIs };

    MethodResult(HRESULT hr, Info info) noexcept : m_hr(hr), m_info(info) {}

    [[nodiscard]] static bool Reports(IUnknown& object, REFIID iid);

    HRESULT m_hr;
    Info m_info = Info::Text;
};

}  // namespace dataservices
