#include "targets/target_records.h"

#include <cstdlib>
#include <utility>

#include "core/base/text.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {

void fill_target(_TargetInformation& record, const TargetEntry& entry) {
    copy_text(entry.target, record.target_name);
    copy_text("NOT AVAILABLE", record.info_text);
}

void mark_target(_TargetInformation& record, const TargetMarks& marks) {
    record.node_index = 1;
    record.persistent = marks.persistent;
    record.logged_in = marks.logged_in;
}

bool append_portal(RecordList<_TargetPortalGroups>& portals, const TargetEntry& entry) {
    _TargetPortalGroups* portal = portals.append();
    if (portal == nullptr) return false;
    entry.address.copy(reinterpret_cast<char*>(portal->address), sizeof portal->address);
    portal->tpgt = entry.tag;
    portal->port = entry.port;
    return true;
}

TargetRecords::TargetRecords(_TargetInformation** list, bool with_portals, TargetProbe* probe)
    : list_{list}, with_portals_{with_portals}, probe_{probe}, first_{std::exchange(*list, nullptr)} {
    if (first_ == nullptr) first_ = new_record<_TargetInformation>();
}

TargetRecords::~TargetRecords() {
    FreeTargetList(first_);
}

bool TargetRecords::add_target(const TargetEntry& entry, const ProbedPortal& probed) {
    RecordList<_TargetPortalGroups> portals;
    if (with_portals_ && !append_portal(portals, entry)) return false;
    _TargetInformation* record = last_ == nullptr ? first_ : new_record<_TargetInformation>();
    if (record == nullptr) return false;
    if (last_ != nullptr) link_record(last_, record);
    last_ = record;
    fill_target(*record, entry);
    record->portals = last_portal_ = portals.release();
    if (probe_ != nullptr) mark_target(*record, probe_->marks(entry.target, probed));
    ++count_;
    return true;
}

bool TargetRecords::add_portal(const TargetEntry& entry) {
    if (!with_portals_) return true;
    RecordList<_TargetPortalGroups> portal;
    if (!append_portal(portal, entry)) return false;
    link_record(last_portal_, portal.first());
    last_portal_ = portal.release();
    return true;
}

void TargetRecords::hand_over() {
    *list_ = std::exchange(first_, nullptr);
}

bool TargetDelivery::add_target(const TargetEntry& entry, const ProbedPortal& probed) {
    if (next_ == nullptr) return true;
    // Before anything is written: this is where memory may run out.
    const TargetMarks marks = probe_.marks(entry.target, probed);
    auto& record = *reinterpret_cast<_TargetInformation*>(next_);
    record = {};
    fill_target(record, entry);
    mark_target(record, marks);
    next_ += sizeof record;
    bytes_ += static_cast<std::uint32_t>(sizeof record);
    return true;
}

}  // namespace opinit

void FreeTargetList(_TargetInformation* list) {
    while (list != nullptr) {
        _TargetInformation* next = next_record(list);
        opinit::free_record_list(list->portals, sizeof(_TargetPortalGroups));
        std::free(list);
        list = next;
    }
}
