#pragma once

#include <string>
#include <string_view>

namespace simhost {

struct Portal {
    std::string address;
    unsigned port = 3260;

    bool operator==(const Portal&) const = default;

    // "10.0.0.1:3260" or "[fd00::1]:3260", as commands and the network table name a portal.
    std::string text() const;
    // "10.0.0.1,3260" or "fd00::1,3260", as database entries and iscsiadm's messages do.
    std::string comma_text() const;
};

// ADDRESS, ADDRESS:PORT or [ADDRESS]:PORT, and whatever after a comma. An address with several colons and no
// brackets is an IPv6 address without a port. As with the real command nothing is wrong here: a host name is
// not looked up yet, and a port that is no number is 0.
Portal parse_portal(std::string_view text);

// Whether the text is an address in IPv4 or IPv6 form rather than a name.
bool is_address(const std::string& text);

// The same place, however an IPv6 address is written.
bool same_place(const Portal& a, const Portal& b);

// As the kernel writes an address: all the digits of an IPv6 address.
std::string kernel_form(const std::string& address);

}  // namespace simhost
