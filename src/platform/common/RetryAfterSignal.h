// The one retry of a C library call that a signal interrupted.
#ifndef KLX_PLATFORM_COMMON_RETRYAFTERSIGNAL_H
#define KLX_PLATFORM_COMMON_RETRYAFTERSIGNAL_H

#include <cerrno>

namespace klx {
namespace platform {

// Calls f(args...) again for as long as it returns `fail` with errno EINTR;
// returns the first other result (errno tells why when it is `fail`).
template <typename Fail, typename F, typename... Args>
auto retryAfterSignal(const Fail& fail, const F& f, const Args&... args) -> decltype(f(args...)) {
    decltype(f(args...)) result;
    do {
        errno = 0;
        result = f(args...);
    } while (result == fail && errno == EINTR);
    return result;
}

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_COMMON_RETRYAFTERSIGNAL_H
