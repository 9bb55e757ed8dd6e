// The input is a request, a line "ID=VALUE" for each property, then an empty line, then iscsid.conf.
#include <unistd.h>

#include <cstdlib>

#include "fuzz/fuzz.h"
#include "fuzz/settings_reference.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

constexpr const char* conf = "/etc/iscsi/iscsid.conf";
constexpr const char* name_file = "/etc/iscsi/initiatorname.iscsi";
const std::string old_name = "InitiatorName=iqn.a\n# and a line behind it\n";

struct Input {
    explicit Input(const std::string& text) {
        std::size_t size = 0;
        for (const std::string& line : fuzz::pieces(text, std::string::npos)) {
            size += line.size();
            if (line == "\n" || request.size() == 40) break;
            const std::size_t equals = line.find('=');
            if (equals == std::string::npos) continue;
            const std::string value = line.substr(equals + 1, 256);
            request.push_back({static_cast<std::uint32_t>(std::strtoul(line.c_str(), nullptr, 10)),
                               value.substr(0, value.find_first_of(std::string_view{"\n\0", 2}))});
        }
        settings = text.substr(size);
    }

    std::vector<reference::Property> request;
    std::string settings;
};

}  // namespace

void fuzz::try_input(const std::string& input) {
    auto [request, settings] = Input{input};
    std::vector<_iSCSI_Property> list(request.size() + 1);
    for (std::size_t i = 0; i < request.size(); ++i) {
        list[i].id = request[i].id;
        request[i].value.copy(list[i].value, sizeof list[i].value);
    }
    list.back().id = 78;
    put(conf, settings);
    put(name_file, old_name);

    const int result = _SetProperty(1, list.data());
    const reference::Written expected = reference::write(request, settings, old_name);
    require_equal(std::to_string(expected.result), std::to_string(result), "result");
    require_equal(expected.conf, get(conf), "iscsid.conf");
    require_equal(expected.name_file, get(name_file), "name file");
    require_equal("-1", std::to_string(access("/tmp/tmpiscsidconf.txt", F_OK)), "temporary file");
    for (std::size_t i = 0; i < request.size(); ++i) {
        require_equal(std::to_string(request[i].id), std::to_string(list[i].id), "id in the request");
    }
}
