#pragma once

#include <string>
#include <string_view>

namespace simhost {

struct Portal {
    std::string address;
    unsigned port = 3260;

    bool operator==(const Portal&) const = default;

    // "10.0.0.1:3260", as commands and the network table name a portal.
    std::string text() const;
    // "10.0.0.1,3260", as database entries and iscsiadm's messages do.
    std::string comma_text() const;
};

// ADDRESS or ADDRESS:PORT, the address in dotted form; throws Failure otherwise.
Portal parse_portal(std::string_view text);

}  // namespace simhost
