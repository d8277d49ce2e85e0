// Names for threads, as debuggers and `top -H` show them.
#pragma once

#include <pthread.h>

namespace Nimb::Desktop {

/// At most 15 characters.
inline void NameThisThread(const char* name) {
    pthread_setname_np(pthread_self(), name);
}

}  // namespace Nimb::Desktop
