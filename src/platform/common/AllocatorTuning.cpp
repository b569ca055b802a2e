// The allocator's cost of freeing short strings (see AllocatorTuning.h).
#include "platform/common/AllocatorTuning.h"

namespace klx {
namespace platform {

std::size_t bulkFreeStringCapacity() {
#if defined(__GLIBC__)
    // Fast bins hold blocks of up to 128 bytes, header included; a capacity
    // of 120 plus the terminating NUL needs a block of 144.
    return 120;
#else
    return 0;
#endif
}

} // namespace platform
} // namespace klx
