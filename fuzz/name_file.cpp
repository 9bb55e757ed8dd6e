// The input is the initiator name file.
#include <cstdlib>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

std::string expected_answer(const std::string& input) {
    for (const std::string& word : fuzz::words(input, fuzz::whitespace)) {
        if (!fuzz::contains(word, "InitiatorName=") || word[0] == '#') continue;
        const auto tokens = fuzz::words(word, "=");
        if (word.size() > 255) return "-2 ";
        if (tokens.size() < 2) return "-1 ";
        return tokens[1].size() > 223 ? "-2 " : "0 " + tokens[1];
    }
    return "0 ";
}

}  // namespace

void fuzz::try_input(const std::string& input) {
    host::write_file("/etc/iscsi/initiatorname.iscsi", input);
    void* list = nullptr;
    unsigned int count = 0;
    std::string answer = std::to_string(_GetInitiatorNodeList(&list, &count, 1)) + " ";
    if (list != nullptr) answer += static_cast<_InitiatorNode*>(list)->node_name;
    std::free(list);
    // What a NUL in the middle of a word means is nobody's business.
    if (!contains(input, std::string_view{"", 1})) require_equal(expected_answer(input), answer, "answer");
}
