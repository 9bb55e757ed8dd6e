// Target records, filled from what a reader hands over.
#pragma once

#include <cstdint>
#include <memory>

#include "core/base/record_list.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/target_probe.h"
#include "targets/target_receiver.h"

namespace opinit {

/// Fills a zeroed record. The name fits: file systems allow names of 255 characters.
void fill_target(_TargetInformation& record, const TargetEntry& entry);

void mark_target(_TargetInformation& record, const TargetMarks& marks);

/// Appends the portal of an entry, its address as text. False when memory is out.
bool append_portal(RecordList<_TargetPortalGroups>& portals, const TargetEntry& entry);

/// A chain of heap records, each with its portals when asked for. Unless it is handed over, it is released
/// and the caller's pointer stays null.
class TargetRecords final : public TargetReceiver {
public:
    /// Takes the caller's first record, or makes one; tests as false when memory is out. Records are linked
    /// behind it as they are filled, so an unfilled one only ever stands alone. With a probe, each record is
    /// marked by it.
    TargetRecords(_TargetInformation** list, bool with_portals, TargetProbe* probe = nullptr);
    TargetRecords(const TargetRecords&) = delete;
    TargetRecords& operator=(const TargetRecords&) = delete;
    ~TargetRecords();

    explicit operator bool() const { return first_ != nullptr; }

    bool add_target(const TargetEntry& entry, const ProbedPortal& probed) override;
    bool add_portal(const TargetEntry& entry) override;

    std::uint32_t count() const { return count_; }
    void hand_over();

private:
    _TargetInformation** list_;
    bool with_portals_;
    TargetProbe* probe_;
    _TargetInformation* first_;
    _TargetInformation* last_ = nullptr;
    _TargetPortalGroups* last_portal_ = nullptr;
    std::uint32_t count_ = 0;
};

struct TargetListRelease {
    void operator()(_TargetInformation* list) const { FreeTargetList(list); }
};

/// Owns a chain that was handed over.
using TargetList = std::unique_ptr<_TargetInformation, TargetListRelease>;

/// Payloads straight into a caller's buffer, which like every operation's is as large as the answer.
class TargetDelivery final : public TargetReceiver {
public:
    /// Without a buffer nothing is delivered, and nothing is read that would only be.
    explicit TargetDelivery(void* buffer) : next_{static_cast<unsigned char*>(buffer)} {}

    bool add_target(const TargetEntry& entry, const ProbedPortal& probed) override;
    bool add_portal(const TargetEntry&) override { return true; }

    std::uint32_t bytes() const { return bytes_; }

private:
    unsigned char* next_;
    std::uint32_t bytes_ = 0;
    TargetProbe probe_;
};

}  // namespace opinit
