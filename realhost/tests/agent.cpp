// An agent that was compiled long ago: it knows slots and byte offsets, and none of the project's headers.
//
// It makes one object and keeps it. Each line of descriptor 3 asks for one operation; the answer goes to
// descriptor 4: a line per record, and then a line "= STATUS".
#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Byte = unsigned char;
using Words = std::vector<std::string>;
/// What is passed, be it a number or a pointer.
using Word = std::uintptr_t;
using Argument = Word (*)(const Words&);

constexpr std::size_t property_bytes = 260;
constexpr int end_of_properties = 78;
constexpr unsigned int untouched = 0xAAAAAAAA;  ///< what stands in a count that nobody wrote

alignas(16) Byte object[1040];
Byte buffer[1 << 20];
Byte request[property_bytes * 36];
Byte address_bytes[16];
unsigned int count;
unsigned int bytes;

template <class Number>
Number number_at(const Byte* place) {
    Number number;
    std::memcpy(&number, place, sizeof number);
    return number;
}

std::string text_at(const Byte* place) {
    return reinterpret_cast<const char*>(place);
}

template <class Value>
void put(std::size_t place, const Value& value) {
    std::memcpy(request + place, &value, sizeof value);
}

void put(std::size_t place, const std::string& text) {
    std::memcpy(request + place, text.c_str(), text.size() + 1);
}

std::string properties_at(const Byte* record) {
    std::string lines;
    for (; record < buffer + bytes && number_at<int>(record) != end_of_properties; record += property_bytes) {
        lines +=
            (lines.empty() ? "" : "\n") + std::to_string(number_at<int>(record)) + '=' + text_at(record + 4);
    }
    return lines;
}

std::string described(const char* form, const Byte* record);

std::string field(char kind, const Byte* place) {
    char dotted[INET_ADDRSTRLEN];
    if (kind == 's') return text_at(place);
    if (kind == 'b') return std::to_string(*place);
    if (kind == 'h') return std::to_string(number_at<std::uint16_t>(place));
    if (kind == 'u') return std::to_string(number_at<std::uint32_t>(place));
    if (kind == 'a') return inet_ntop(AF_INET, place, dotted, sizeof dotted);
    if (kind == 'p') return properties_at(place);
    if (kind != 'c') return *place == 0 ? "" : std::string(1, kind);
    const auto* const connection = number_at<const Byte*>(place);
    return connection == nullptr ? "nowhere" : described("%a17:%h35 from %a1", connection);
}

/// Fills into the form what stands in the record: "%s64" is the text at byte 64, "%+516" a plus if byte 516
/// is set.
std::string described(const char* form, const Byte* record) {
    std::string text;
    while (*form != '\0') {
        if (*form != '%') {
            text += *form++;
            continue;
        }
        char* end = nullptr;
        const auto place = std::strtoul(form + 2, &end, 10);
        text += field(form[1], record + place);
        form = end;
    }
    return text;
}

template <Word number>
Word is(const Words&) {
    return number;
}

template <auto& place>
Word at(const Words&) {
    return reinterpret_cast<Word>(&place);
}

Word address(const Words& words) {
    inet_pton(AF_INET, words[1].c_str(), address_bytes);
    return reinterpret_cast<Word>(address_bytes);
}

/// A number as sessions are named in records; the disk queries take decimal text too: "text:NUMBER".
template <std::size_t place>
Word session(const Words& words) {
    const bool is_text = words.back().starts_with("text:");
    put(place, is_text ? words.back().substr(5) : std::string(1, static_cast<char>(std::stoi(words.back()))));
    return at<request>(words);
}

/// A target's record, or where its name stands.
template <std::size_t offset>
Word target(const Words& words) {
    put(4, words.back());
    return at<request>(words) + offset;
}

/// NAME ADDRESS [OPTION=VALUE...], the options named after the fields of the record.
Word login(const Words& words) {
    static const std::map<std::string, std::size_t> fields = {
        {"user", 298},    {"secret", 362}, {"user_in", 382},       {"secret_in", 446},
        {"startup", 296}, {"chap", 297},   {"header_digest", 466}, {"data_digest", 467}};
    put(0, 1);
    put(4, words[1]);
    put(261, inet_addr(words[2].c_str()));
    put(277, std::uint16_t{3260});
    for (std::size_t i = 3; i < words.size(); ++i) {
        const std::size_t equals = words[i].find('='), place = fields.at(words[i].substr(0, equals));
        const std::string value = words[i].substr(equals + 1);
        value.size() == 1 ? put(place, static_cast<Byte>(value[0] - '0')) : put(place, value);
    }
    return at<request>(words);
}

/// ID=VALUE...
Word properties(const Words& words) {
    for (std::size_t i = 1; i < words.size(); ++i) {
        put((i - 1) * property_bytes, std::stoi(words[i]));
        put((i - 1) * property_bytes + 4, words[i].substr(words[i].find('=') + 1));
    }
    put((words.size() - 1) * property_bytes, end_of_properties);
    return at<request>(words);
}

struct Operation {
    const char* name;
    int slot;
    std::vector<Argument> arguments;
    /// What is shown of each record.
    const char* form = "";
    /// Of a record; 0 where there is always one.
    std::size_t record_bytes = 0;
};

/// How a target and a disk are shown.
constexpr const char* entry = "%s4%+516%*517";
constexpr const char* disk = "%b96:%b97:%b98:%b99 %s64 %s0 %s101 %s133";

const Operation operations[] = {
    {"IsServiceAvailable", 1, {}},
    {"StartInitiator", 2, {is<1>}},
    {"StopInitiator", 3, {is<1>}},
    {"GetInitiatorList", 4, {at<buffer>, at<bytes>}, "%s8 running=%b796\n%p797"},
    {"GetInitiatorGlobals", 5, {at<buffer>, at<bytes>}, "%p0"},
    {"GetLibVersion", 6, {at<buffer>}, "%s0 %u20"},
    {"GetInitiatorVersion", 7, {at<buffer>, at<bytes>}, "%s0; %s64; %s128"},
    {"GetTargetList", 10, {is<1>, is<0>, at<buffer>, at<bytes>}, entry, 9676},
    {"DiscoverTarget", 13, {is<1>, address, is<3260>, is<0>, at<buffer>, at<count>, at<bytes>}, entry, 9676},
    {"LoginTarget", 14, {login}},
    {"LogoutTarget", 15, {is<1>, session<0>}},
    {"QuerySessionCount", 16, {at<count>}},
    {"QuerySessionList", 17, {at<buffer>, at<count>, at<bytes>}, "%b512 %s256 %c546 as %s0", 554},
    {"QueryDiskCount", 18, {session<0>, at<count>}},
    {"QueryDisks", 19, {session<0>, at<buffer>, at<count>, at<bytes>}, disk, 709},
    {"RemoveTarget", 20, {is<1>, address, is<3260>, is<0>}},
    {"RemovePersistentTarget", 21, {is<1>, is<0>, address, is<3260>, is<0>}},
    {"SetProperty", 23, {is<1>, properties}},
    {"GetList 40", 24, {is<1>, is<40>, at<buffer>, at<bytes>, target<4>}, "%a0:%u17,%b16", 29},
    {"GetList 41", 24, {is<1>, is<41>, at<buffer>, at<bytes>, target<0>}, "%a0:%u17,%b16", 29},
    {"GetList 42", 24, {is<1>, is<42>, at<buffer>, at<bytes>, session<512>}, "%a17:%h35 from %a1", 74},
};

/// The answer to one line.
std::string answer(const std::string& line) {
    std::istringstream stream(line);
    const Words words{std::istream_iterator<std::string>(stream), {}};
    if (words[0] == "message") return text_at(object + 9) + "\n= 0\n";
    const auto& operation = *std::find_if(std::begin(operations), std::end(operations),
                                          [&line](const auto& each) { return line.starts_with(each.name); });
    std::fill(std::begin(buffer), std::end(buffer), 0xAA);
    std::fill(std::begin(request), std::end(request), 0);
    const bool counts = line.find("Count") != line.npos;
    count = counts ? untouched : 0;  // a discovery wants none
    bytes = 0;
    Word given[7] = {};
    std::transform(operation.arguments.begin(), operation.arguments.end(), given,
                   [&words](Argument argument) { return argument(words); });
    void** const table = *reinterpret_cast<void***>(object);
    using Function = unsigned int (*)(void*, Word, Word, Word, Word, Word, Word, Word);
    const unsigned int status = reinterpret_cast<Function>(table[2 + operation.slot])(
        object, given[0], given[1], given[2], given[3], given[4], given[5], given[6]);

    std::string shown = !counts ? "" : count == untouched ? "-\n" : std::to_string(count) + '\n';
    const std::size_t step = operation.record_bytes, end = status != 0 ? 0 : step == 0 ? 1 : bytes;
    for (std::size_t i = 0; i < end && *operation.form != '\0'; i += std::max<std::size_t>(step, 1)) {
        shown += described(operation.form, buffer + i) + '\n';
    }
    return shown + "= " + std::to_string(status) + '\n';
}

}  // namespace

int main(int, char** arguments) {
    void* const library = dlopen(arguments[1], RTLD_NOW);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    reinterpret_cast<void (*)(void*)>(dlsym(library, "_ZN13OpenInitiatorC1Ev"))(object);

    for (const int descriptor : {3, 4}) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    std::FILE* const questions = fdopen(3, "r");
    char line[1024];
    while (std::fgets(line, sizeof line, questions) != nullptr) dprintf(4, "%s", answer(line).c_str());
    return 0;
}
