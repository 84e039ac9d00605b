// Runs a member function of an object inside a COM apartment of the thread's own.
//
//   CComThreadRunnableAdapter<CWorker> runnable(this, &CWorker::Work, COINIT_MULTITHREADED);
//
// Lifetime: the object is neither owned nor counted, and must outlive the run.
#pragma once

#include "threading/IThreadRunnable.h"

#include <windows.h>

#include <objbase.h>

template <class T>
class CComThreadRunnableAdapter final : public IThreadRunnable {
public:
    using Member = HRESULT (T::*)();

    // `apartment`: flags for CoInitializeEx.
    CComThreadRunnableAdapter(T* object, Member member, DWORD apartment) noexcept
        : m_object(object), m_member(member), m_apartment(apartment) {}
    CComThreadRunnableAdapter(const CComThreadRunnableAdapter&) = delete;
    CComThreadRunnableAdapter& operator=(const CComThreadRunnableAdapter&) = delete;

    // IThreadRunnable

    // The member function's result. If the apartment can't be entered, that failure, and the function isn't called:
    // RPC_E_CHANGED_MODE where the thread is in one of another kind. An exception of the function passes through, after
    // the apartment was left.
    int Run() override {
        const CApartment apartment(m_apartment);
        if (FAILED(apartment.m_entered))
            return apartment.m_entered;
        return (m_object->*m_member)();
    }

private:
    struct CApartment {
        explicit CApartment(DWORD flags) noexcept : m_entered(::CoInitializeEx(nullptr, flags)) {}
        CApartment(const CApartment&) = delete;
        CApartment& operator=(const CApartment&) = delete;
        ~CApartment() {
            if (SUCCEEDED(m_entered))  // S_FALSE, entered already, has to be undone as well
                ::CoUninitialize();
        }
        const HRESULT m_entered;
    };

    T* m_object;
    Member m_member;
    DWORD m_apartment;
};
