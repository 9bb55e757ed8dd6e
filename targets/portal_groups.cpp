#include "targets/portal_groups.h"

#include <cstring>
#include <string>

#include "core/base/address.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/target_list.h"
#include "targets/target_records.h"

namespace opinit {
namespace {

constexpr int target_missing = 1;
constexpr int memory_out = 2;

/// The text of an address field need not be terminated. IPv6 has no form as 4 bytes, so its field is zero.
void address_to_bytes(_TargetPortalGroups& portal) {
    const std::string_view field{reinterpret_cast<const char*>(portal.address), sizeof portal.address};
    const std::string_view text = field.substr(0, field.find('\0'));
    if (text.find(':') != std::string_view::npos) {
        std::memset(portal.address, 0, sizeof portal.address);
    } else {
        parse_ip_address(portal.address, text);
    }
}

/// Keeps the portals of one target and passes over all others.
class PortalCollector final : public TargetReceiver {
public:
    explicit PortalCollector(std::string_view target_name) : target_name_{target_name} {}

    bool wants(std::string_view target) const override { return !found_ && target == target_name_; }

    bool add_target(const TargetEntry& entry, const ProbedPortal&) override {
        found_ = true;
        return add_portal(entry);
    }

    bool add_portal(const TargetEntry& entry) override {
        complete_ = append_portal(portals_, entry);
        if (complete_) address_to_bytes(*portals_.last());
        return complete_;
    }

    /// All there is, whatever became of the walk behind it.
    bool done() const { return found_ && complete_; }

    RecordList<_TargetPortalGroups> take() { return std::move(portals_); }

private:
    std::string_view target_name_;
    bool found_ = false;
    bool complete_ = true;
    RecordList<_TargetPortalGroups> portals_;
};

}  // namespace

TargetPortals find_portals(std::string_view target_name) {
    PortalCollector collector{target_name};
    const int status = without_exceptions(memory_out, [&] { return walk_recorded_targets(collector); });
    const bool cut_short = collector.ended_early() && !collector.done();
    return {cut_short ? memory_out : status, collector.take()};
}

}  // namespace opinit

int _GetPortalGroups(char*, char* target_name, _TargetPortalGroups** list) {
    using namespace opinit;
    *list = nullptr;
    if (target_name == nullptr) return target_missing;
    TargetPortals portals = find_portals(target_name);
    const bool found = portals.records.first() != nullptr;
    *list = portals.records.release();
    if (portals.status == memory_out) return memory_out;
    return found ? 0 : target_missing;
}
