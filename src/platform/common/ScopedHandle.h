// The one owner of operating-system handles: closes its handle when it goes
// out of scope. Each backend defines the traits of its handle kinds:
//   struct Traits {
//       using handle_type = ...;
//       static handle_type invalid();
//       static void close(handle_type handle);
//   };
#ifndef KLX_PLATFORM_COMMON_SCOPEDHANDLE_H
#define KLX_PLATFORM_COMMON_SCOPEDHANDLE_H

#include <utility>

namespace klx {
namespace platform {

template <typename Traits> class ScopedHandle {
public:
    using handle_type = typename Traits::handle_type;

    ScopedHandle() : mHandle(Traits::invalid()) {}
    explicit ScopedHandle(handle_type handle) : mHandle(handle) {}
    ~ScopedHandle() { reset(); }

    ScopedHandle(ScopedHandle&& other) noexcept : mHandle(other.release()) {}
    ScopedHandle& operator=(ScopedHandle&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;

    handle_type get() const { return mHandle; }
    explicit operator bool() const { return mHandle != Traits::invalid(); }

    // Gives the handle up without closing it.
    handle_type release() { return std::exchange(mHandle, Traits::invalid()); }
    // Closes the handle held, if any, and holds `handle`.
    void reset(handle_type handle = Traits::invalid()) {
        handle_type old = std::exchange(mHandle, handle);
        if (old != Traits::invalid())
            Traits::close(old);
    }

private:
    handle_type mHandle;
};

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_COMMON_SCOPEDHANDLE_H
