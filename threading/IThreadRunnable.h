// What a thread runs.
#pragma once

class IThreadRunnable {
public:
    virtual ~IThreadRunnable() = default;

    // The thread's whole body. The result, an HRESULT where the body is COM's, becomes the thread's exit code. An
    // exception that it lets out ends the process when it runs on a thread.
    virtual int Run() = 0;
};
