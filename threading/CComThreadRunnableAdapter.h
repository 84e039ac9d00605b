// Runs a member function of an object inside a COM apartment of the thread's own.
//
//   CComThreadRunnableAdapter<CWorker> runnable(this, &CWorker::Work, COINIT_MULTITHREADED);
//
// Lifetime: the object is neither owned nor counted, and must outlive the run.
#pragma once

#include "base/CApartment.h"
#include "threading/IThreadRunnable.h"

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
        const base::CApartment apartment(m_apartment);
        if (FAILED(apartment.Result()))
            return apartment.Result();
        return (m_object->*m_member)();
    }

private:
    T* m_object;
    Member m_member;
    DWORD m_apartment;
};
