// What a change of settings does to the files.
#pragma once

#include <string.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvlinopinitr/iscsi_records.h"
#include "shown/output.h"

namespace opinitctl {

/// Wipes memory before it is given back, also what a growing container leaves behind.
template <class T>
struct WipingAllocator : std::allocator<T> {
    void deallocate(T* memory, std::size_t count) {
        explicit_bzero(memory, count * sizeof(T));
        std::allocator<T>::deallocate(memory, count);
    }
};

/// A list for the library, closed by the end entry. It may hold secrets.
using Properties = std::vector<_iSCSI_Property, WipingAllocator<_iSCSI_Property>>;

/// A line that a setting asks for.
struct Change {
    std::string_view file;
    std::size_t line;  ///< 0 where there is none
    enum class Kind { replaced, appended, unchanged } kind;
    std::uint32_t id;
    std::string key;                       ///< as it stands there
    std::optional<std::string> old_value;  ///< stars for a secret
    std::string value;                     ///< the same
};

/// A Failure where the library cannot open iscsid.conf, which it takes for empty then.
void require_open_settings();

inline constexpr const char* initiator_name_file = "/etc/iscsi/initiatorname.iscsi";

const Columns<Change>& change_columns();

/// Every line that the settings ask for, by setting. A Failure where a file cannot be read.
std::vector<Change> changes_for(const Properties& properties);

}  // namespace opinitctl
