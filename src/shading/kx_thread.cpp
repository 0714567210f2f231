#include "shading/kx_thread.h"

#include <system_error>

namespace shadepaint {

void CKXThread::start(void (*function)(void*), void* argument) {
    end();
    try {
        m_thread = std::thread(function, argument);
    } catch (const std::system_error&) {
        // No thread to be had: the band still has to be painted before end()
        // returns, so the caller does it.
        function(argument);
    }
}

void CKXThread::end() {
    if (m_thread.joinable()) m_thread.join();
}

}  // namespace shadepaint
