// The line that no exception crosses: every exported function does its work behind it.
#pragma once

#include <new>

namespace opinit {

/// The result of `work`, or `when_out_of_memory` when an allocation failed in it. Nothing else in the library
/// throws.
template <class Result, class Work>
Result without_exceptions(Result when_out_of_memory, Work work) noexcept {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return when_out_of_memory;
    }
}

}  // namespace opinit
