#include "filter/CMyModule.h"

#include "tests/support/CTestApartment.h"

#include <wrl/client.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

// The platform's script registrar, seen from the module: on the stack, and it writes down what it is given.
class CFakeRegistrar final : public IRegistrarBase {
public:
    HRESULT result = S_OK;
    bool throws = false;
    std::vector<std::wstring> calls;

    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOTIMPL; }
    STDMETHODIMP_(ULONG) AddRef() override { return 1; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP AddReplacement(LPCOLESTR key, LPCOLESTR item) override {
        calls.push_back(std::wstring(key) + L"=" + item);
        if (throws)
            throw std::bad_alloc();
        return result;
    }
    STDMETHODIMP ClearReplacements() override { return E_NOTIMPL; }
};

TEST(CMyModuleTest, LockCountGoesUpAndDownAndReportsItself) {
    CMyModule module;
    EXPECT_EQ(0, module.GetLockCount());
    EXPECT_EQ(1, module.Lock());
    EXPECT_EQ(2, module.Lock());
    EXPECT_EQ(2, module.GetLockCount());
    EXPECT_EQ(1, module.Unlock());
    EXPECT_EQ(0, module.Unlock());
    EXPECT_EQ(0, module.GetLockCount());
}

TEST(CMyModuleTest, LocksOfManyThreadsAllCount) {
    CMyModule module;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int n = 0; n < 20'000; ++n) {
                    module.Lock();
                    module.Lock();
                    module.Unlock();
                }
            });
        }
    }
    EXPECT_EQ(80'000, module.GetLockCount());
}

TEST(CMyModuleTest, GlobalInterfaceTableIsKeptOnceItIsThere) {
    CMyModule module;
    EXPECT_EQ(E_POINTER, module.GetGITPtr(nullptr));
    const auto poison = reinterpret_cast<IGlobalInterfaceTable*>(&module);
    IGlobalInterfaceTable* table = poison;
    EXPECT_EQ(CO_E_NOTINITIALIZED, module.GetGITPtr(&table)) << "a thread outside COM";
    EXPECT_EQ(nullptr, table);

    const CTestApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IGlobalInterfaceTable> first;
    ComPtr<IGlobalInterfaceTable> second;
    ASSERT_EQ(S_OK, module.GetGITPtr(&first)) << "the failure was not kept";
    ASSERT_EQ(S_OK, module.GetGITPtr(&second));
    EXPECT_EQ(first.Get(), second.Get());
    ComPtr<IGlobalInterfaceTable> platforms;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_PPV_ARGS(&platforms)));
    EXPECT_EQ(platforms.Get(), first.Get()) << "the process has one";
}

TEST(CMyModuleTest, ThreadsThatAskAtOnceGetTheSameTable) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    for (int round = 0; round < 20; ++round) {
        constexpr int kThreads = 4;
        CMyModule module;
        ComPtr<IGlobalInterfaceTable> tables[kThreads];
        std::atomic<int> started{0};
        {
            std::vector<std::jthread> threads;
            for (auto& table : tables) {
                threads.emplace_back([&] {
                    const CTestApartment own(COINIT_MULTITHREADED);
                    for (++started; started != kThreads;)
                        std::this_thread::yield();
                    EXPECT_EQ(S_OK, module.GetGITPtr(&table));
                });
            }
        }
        for (const auto& table : tables)
            EXPECT_EQ(tables[0].Get(), table.Get());
    }
}

TEST(CMyModuleTest, RegistrarGetsAnEmptyApplicationId) {
    CMyModule module;
    CFakeRegistrar registrar;
    EXPECT_EQ(S_OK, module.AddCommonRGSReplacements(&registrar));
    EXPECT_EQ(std::vector<std::wstring>{L"APPID="}, registrar.calls);
    registrar.result = DISP_E_EXCEPTION;
    EXPECT_EQ(DISP_E_EXCEPTION, module.AddCommonRGSReplacements(&registrar));
    registrar.throws = true;
    EXPECT_EQ(E_OUTOFMEMORY, module.AddCommonRGSReplacements(&registrar));
    EXPECT_EQ(E_POINTER, module.AddCommonRGSReplacements(nullptr));
}

}  // namespace
