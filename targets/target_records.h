// The target records that a reader fills, until they are handed to the caller.
#pragma once

#include <cstdint>
#include <string_view>

#include "kvlinopinitr/iscsi_records.h"

namespace opinit {

/// Owns the records while they are being filled: unless they are handed over, they are released and the
/// caller's pointer stays null.
class TargetRecords {
public:
    /// Takes the caller's first record, or makes one; tests as false when memory is out. Records are linked
    /// behind it as they are filled, so an unfilled one only ever stands alone.
    explicit TargetRecords(_TargetInformation** list);
    TargetRecords(const TargetRecords&) = delete;
    TargetRecords& operator=(const TargetRecords&) = delete;
    ~TargetRecords();

    explicit operator bool() const { return first_ != nullptr; }

    /// Fills the next record with the target's name (names of entries fit: file systems allow 255 characters)
    /// and, unless null, its first portal. False when memory is out: the portal is then still the caller's.
    bool fill_next(std::string_view target_name, _TargetPortalGroups* portal);

    std::uint32_t count() const { return count_; }
    /// The record filled last, or null.
    _TargetInformation* last() const { return last_; }
    /// The record behind one filled earlier, or the first one for null.
    _TargetInformation* after(const _TargetInformation* earlier) const;

    void hand_over();

private:
    _TargetInformation** list_;
    _TargetInformation* first_;
    _TargetInformation* last_ = nullptr;
    std::uint32_t count_ = 0;
};

}  // namespace opinit
