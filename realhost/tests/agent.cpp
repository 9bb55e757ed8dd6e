// An agent that was compiled long ago: it knows slots and byte offsets, and none of the project's headers.
//
// It makes one object and keeps it. Each line of descriptor 3 asks for one operation; the answer goes to
// descriptor 4: a line per record, and then a line "= STATUS".
#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>

#include <algorithm>
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

alignas(16) Byte object[1040];
Byte buffer[1 << 20];
Byte* const nothing = nullptr;
unsigned int count;
unsigned int bytes;
std::FILE* answer;

template <class Result = unsigned int, class... Arguments>
Result call(int slot, Arguments... arguments) {
    void** table = *reinterpret_cast<void***>(object);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(table[2 + slot])(object, arguments...);
}

template <class Number>
Number number_at(const Byte* place) {
    Number number;
    std::memcpy(&number, place, sizeof number);
    return number;
}

const char* text_at(const Byte* place) {
    return reinterpret_cast<const char*>(place);
}

std::string dotted(const Byte* address) {
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, address, text, sizeof text);
}

Byte* address_of(const std::string& dotted_text) {
    static Byte address[4];
    inet_pton(AF_INET, dotted_text.c_str(), address);
    return address;
}

/// Session numbers as sessions are named in records.
Byte* identifier(const std::string& number) {
    static Byte block[16];
    block[0] = static_cast<Byte>(std::stoi(number));
    return block;
}

/// The disk queries take decimal text too: "text:NUMBER".
const Byte* session(const std::string& reference) {
    const bool text = reference.starts_with("text:");
    return text ? reinterpret_cast<const Byte*>(reference.c_str() + 5) : identifier(reference);
}

std::string portal(const Byte* connection) {
    return dotted(connection + 17) + ":" + std::to_string(number_at<unsigned short>(connection + 35));
}

void show_targets() {
    for (const Byte* record = buffer; record < buffer + bytes; record += 9676) {
        std::fprintf(answer, "%s%s%s\n", text_at(record + 4), record[516] != 0 ? "+" : "",
                     record[517] != 0 ? "*" : "");
    }
}

void show_sessions() {
    for (const Byte* record = buffer; record < buffer + bytes; record += 554) {
        const auto* connection = number_at<const Byte*>(record + 546);
        std::fprintf(answer, "%d %s %s from %s as %s\n", record[512], text_at(record + 256),
                     connection == nullptr ? "nowhere" : portal(connection).c_str(),
                     connection == nullptr ? "nowhere" : dotted(connection + 1).c_str(), text_at(record));
    }
}

void show_disks() {
    for (const Byte* record = buffer; record < buffer + bytes; record += 709) {
        std::fprintf(answer, "%d:%d:%d:%d %s %s %s %s\n", record[96], record[97], record[98], record[99],
                     text_at(record + 64), text_at(record), text_at(record + 101), text_at(record + 133));
    }
}

void show_portals() {
    for (const Byte* record = buffer; record < buffer + bytes; record += 29) {
        std::fprintf(answer, "%s:%u,%d\n", dotted(record).c_str(), number_at<unsigned int>(record + 17),
                     record[16]);
    }
}

void show_connection() {
    if (bytes == 0) return;
    std::fprintf(answer, "%s from %s\n", portal(buffer).c_str(), dotted(buffer + 1).c_str());
}

void show_properties(const Byte* record) {
    for (; record < buffer + bytes && number_at<unsigned int>(record) != 78; record += 260) {
        std::fprintf(answer, "%u=%s\n", number_at<unsigned int>(record), text_at(record + 4));
    }
}

/// GetList TYPE OBJECT: the object is a target's name, or a session's number.
unsigned int get_list(const Words& words) {
    static Byte record[9676];
    const int type = std::stoi(words[1]);
    const bool connections = type == 42;
    if (connections) {
        record[512] = *identifier(words[2]);
    } else {
        std::strcpy(reinterpret_cast<char*>(record) + 4, words[2].c_str());
    }
    void** table = *reinterpret_cast<void***>(object);
    using GetList = unsigned int (*)(void*, int, int, void*, unsigned int*, ...);
    const auto operation = reinterpret_cast<GetList>(table[2 + 24]);
    const unsigned int status = operation(object, 1, type, buffer, &bytes, type == 40 ? record + 4 : record);
    connections ? show_connection() : show_portals();
    return status;
}

/// LoginTarget NAME ADDRESS [OPTION=VALUE...], the options named after the fields of the request.
unsigned int log_in(const Words& words) {
    static const std::map<std::string, int> fields = {
        {"user", 298},    {"secret", 362}, {"user_in", 382},       {"secret_in", 446},
        {"startup", 296}, {"chap", 297},   {"header_digest", 466}, {"data_digest", 467}};
    Byte request[468] = {1};
    std::strcpy(reinterpret_cast<char*>(request) + 4, words[1].c_str());
    std::memcpy(request + 261, address_of(words[2]), 4);
    const unsigned short port = 3260;
    std::memcpy(request + 277, &port, sizeof port);
    for (std::size_t i = 3; i < words.size(); ++i) {
        const std::size_t equals = words[i].find('=');
        const std::string value = words[i].substr(equals + 1);
        const int place = fields.at(words[i].substr(0, equals));
        if (value.size() == 1) {
            request[place] = static_cast<Byte>(value[0] - '0');
        } else {
            std::memcpy(request + place, value.c_str(), value.size());
        }
    }
    return call(14, static_cast<void*>(request));
}

unsigned int set_properties(const Words& words) {
    static Byte list[260 * 36];
    std::memset(list, 0, sizeof list);
    Byte* record = list;
    for (std::size_t i = 1; i < words.size(); ++i, record += 260) {
        const int id = std::stoi(words[i]);
        std::memcpy(record, &id, sizeof id);
        std::strcpy(reinterpret_cast<char*>(record) + 4, words[i].substr(words[i].find('=') + 1).c_str());
    }
    const int end = 78;
    std::memcpy(record, &end, sizeof end);
    return call(23, 1, static_cast<void*>(list));
}

void show_node() {
    std::fprintf(answer, "%s running=%d\n", text_at(buffer + 8), buffer[796]);
    show_properties(buffer + 797);
}

void show_version() {
    std::fprintf(answer, "%s %#x\n", text_at(buffer), number_at<unsigned int>(buffer + 20));
}

void show_module() {
    std::fprintf(answer, "%s; %s; %s\n", text_at(buffer), text_at(buffer + 64), text_at(buffer + 128));
}

unsigned int listed(unsigned int status, void (*show)()) {
    if (status == 0) show();
    return status;
}

unsigned int counted(unsigned int status) {
    std::fprintf(answer, "%u\n", count);
    return status;
}

void* const room = buffer;
constexpr unsigned short iscsi_port = 3260;

const std::map<std::string, unsigned int (*)(const Words&)> operations = {
    {"IsServiceAvailable", [](const Words&) { return call(1); }},
    {"StartInitiator", [](const Words&) { return call(2, 1); }},
    {"StopInitiator", [](const Words&) { return call(3, 1); }},
    {"GetInitiatorList", [](const Words&) { return listed(call(4, room, &bytes), show_node); }},
    {"GetInitiatorGlobals",
     [](const Words&) { return listed(call(5, room, &bytes), [] { show_properties(buffer); }); }},
    {"GetLibVersion", [](const Words&) { return listed(call(6, room), show_version); }},
    {"GetInitiatorVersion", [](const Words&) { return listed(call(7, room, &bytes), show_module); }},
    {"GetTargetList", [](const Words&) { return listed(call(10, 1, 0, room, &bytes), show_targets); }},
    {"DiscoverTarget",
     [](const Words& words) {
         return listed(call(13, 1, address_of(words[1]), iscsi_port, nothing, room, &count, &bytes),
                       show_targets);
     }},
    {"LoginTarget", log_in},
    {"LogoutTarget", [](const Words& words) { return call(15, 1, identifier(words[1])); }},
    {"QuerySessionCount", [](const Words&) { return counted(call(16, &count)); }},
    {"QuerySessionList", [](const Words&) { return listed(call(17, room, &count, &bytes), show_sessions); }},
    {"QueryDiskCount", [](const Words& words) { return counted(call(18, session(words[1]), &count)); }},
    {"QueryDisks",
     [](const Words& words) {
         return listed(call(19, session(words[1]), room, &count, &bytes), show_disks);
     }},
    {"RemoveTarget",
     [](const Words& words) { return call(20, 1, address_of(words[1]), iscsi_port, nothing); }},
    {"RemovePersistentTarget",
     [](const Words& words) { return call(21, 1, nothing, address_of(words[1]), 3260u, nothing); }},
    {"SetProperty", set_properties},
    {"GetList", get_list},
    {"message", [](const Words&) { return std::fprintf(answer, "%s\n", text_at(object + 9)), 0u; }},
};

}  // namespace

int main(int, char** arguments) {
    void* const library = dlopen(arguments[1], RTLD_NOW);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    reinterpret_cast<void (*)(void*)>(dlsym(library, "_ZN13OpenInitiatorC1Ev"))(object);

    answer = fdopen(4, "w");
    for (const int descriptor : {3, 4}) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    std::FILE* const questions = fdopen(3, "r");
    char line[1024];
    while (std::fgets(line, sizeof line, questions) != nullptr) {
        std::istringstream stream(line);
        const Words words{std::istream_iterator<std::string>(stream), {}};
        std::fill(std::begin(buffer), std::end(buffer), 0xAA);
        count = bytes = 0;
        const unsigned int status = operations.at(words.at(0))(words);
        std::fprintf(answer, "= %u\n", status);
        std::fflush(answer);
    }
    return 0;
}
