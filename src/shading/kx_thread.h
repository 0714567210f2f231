// One worker thread for one start. A default-constructed object is "not
// started"; end() waits for a started worker and is harmless on an object that
// was never started or has already ended.
#pragma once

#include <thread>

namespace shadepaint {

class CKXThread {
public:
    CKXThread() = default;
    CKXThread(const CKXThread&) = delete;
    CKXThread& operator=(const CKXThread&) = delete;
    ~CKXThread() { end(); }

    // Runs function(argument) on a new thread. When no thread can be made, the
    // function runs on the caller's thread before start returns, so that the
    // work is done when end() returns either way.
    void start(void (*function)(void*), void* argument);
    void end();

private:
    std::thread m_thread;
};

}  // namespace shadepaint
