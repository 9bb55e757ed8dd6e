// IPv4 addresses between the 4 bytes of the interface and dotted text.
#pragma once

#include <cstddef>
#include <string_view>

namespace opinit {

/// Bytes of an address field in a record; also the most components that an address text fills.
inline constexpr std::size_t address_field_size = 16;

/// One byte per component of the text, split at runs of dots; each keeps the low 8 bits of a base-10 number.
/// Bytes behind the last component are left alone. `output` may be the buffer that holds the text.
void parse_ip_address(unsigned char* output, std::string_view text);

/// Size of the text buffers that the operations hand to `format_ip_address`.
inline constexpr std::size_t address_text_size = 80;

/// Dotted text of the 4 bytes, for family 2 (IPv4); the text is left alone for any other family.
void format_ip_address(const unsigned char* address, char (&text)[address_text_size], int family);

/// The portal address of an operation as dotted text.
class AddressText {
public:
    explicit AddressText(const unsigned char* address);
    const char* c_str() const { return text_; }

private:
    char text_[address_text_size]{};
};

}  // namespace opinit
