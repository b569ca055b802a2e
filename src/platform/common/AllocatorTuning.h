// What the C library's allocator costs, for the containers that hold many
// short strings.
#ifndef KLX_PLATFORM_COMMON_ALLOCATORTUNING_H
#define KLX_PLATFORM_COMMON_ALLOCATORTUNING_H

#include <cstddef>

namespace klx {
namespace platform {

// The smallest string capacity that the C library's allocator frees cheaply
// in bulk, or 0 when every size is. glibc keeps small blocks in "fast bins"
// that it later merges one by one, which makes dropping a million short
// strings cost more than making them; a block just above that range is
// merged with its neighbours as it is freed.
std::size_t bulkFreeStringCapacity();

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_COMMON_ALLOCATORTUNING_H
