#include "targets/target_records.h"

#include <cstdlib>
#include <utility>

#include "core/base/record_list.h"
#include "core/base/text.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {

TargetRecords::TargetRecords(_TargetInformation** list) : list_{list}, first_{std::exchange(*list, nullptr)} {
    if (first_ == nullptr) first_ = new_record<_TargetInformation>();
}

TargetRecords::~TargetRecords() {
    FreeTargetList(first_);
}

bool TargetRecords::fill_next(std::string_view target_name, _TargetPortalGroups* portal) {
    _TargetInformation* record = last_ == nullptr ? first_ : new_record<_TargetInformation>();
    if (record == nullptr) return false;
    if (last_ != nullptr) link_record(last_, record);
    last_ = record;
    ++count_;
    copy_text(target_name, record->target_name);
    copy_text("NOT AVAILABLE", record->info_text);
    record->portals = portal;
    return true;
}

_TargetInformation* TargetRecords::after(const _TargetInformation* earlier) const {
    return earlier == nullptr ? first_ : next_record(earlier);
}

void TargetRecords::hand_over() {
    *list_ = std::exchange(first_, nullptr);
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
