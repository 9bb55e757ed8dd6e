// node, config, config get, config set.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <vector>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "commands/secret.h"
#include "errors.h"
#include "host/config_changes.h"
#include "host/host_files.h"
#include "host/property_keys.h"
#include "host/sessions.h"
#include "kvlinopinitr/answer_buffer.h"
#include "kvlinopinitr/iscsi_properties.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "running/operation.h"
#include "shown/diagnostics.h"
#include "shown/names.h"
#include "shown/safe_text.h"

namespace opinitctl {
namespace {

using Property = _iSCSI_Property;
using Node = _InitiatorNode;

constexpr const char* key_description = "a full key, the unambiguous end of one, or an id";

Value count_of_settings(const Node& node) {
    const auto* const end =
        std::find_if(std::begin(node.properties), std::end(node.properties),
                     [](const Property& property) { return property.id == iscsi_property::end_of_list; });
    return static_cast<std::size_t>(end - std::begin(node.properties));
}

const Columns<Node> node_columns = {
    {"initiator_name", [](const Node& node) -> Value { return field_text(node.initiator_name); }},
    {"valid", [](const Node& node) -> Value { return node.node_valid != 0; }},
    {"running", [](const Node& node) -> Value { return node.stack_running != 0; }},
    {"settings", count_of_settings},
};

const Columns<Property> setting_columns = {
    {"id", [](const Property& property) -> Value { return std::uint32_t{property.id}; }},
    {"key", [](const Property& property) -> Value { return full_key(property.id); }},
    {"value",
     [](const Property& property) -> Value { return shown_value(property.id, field_text(property.value)); }},
};

void show_node(const Output& output) {
    OpenInitiator initiator;
    Node node = {};
    unsigned int bytes = 0;
    require_success(initiator, "read the initiator", initiator.GetInitiatorList(&node, &bytes));
    require_open_settings();
    output.record(node_columns, node);
}

std::vector<Property> settings_of(ISCSI_Initiator& initiator) {
    kvlinopinitr::AnswerBuffer<Property> answer;
    require_success(initiator, "read the settings",
                    initiator.GetInitiatorGlobals(answer.data(), answer.bytes()));
    require_open_settings();
    return answer.records();
}

void show_settings(const Output& output) {
    OpenInitiator initiator;
    output.list(setting_columns, settings_of(initiator));
}

struct Setting {
    std::uint32_t id;
    std::string value;
};

Setting parse_setting(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == text.npos) throw UsageError("a setting is KEY=VALUE");
    return {property_id(text.substr(0, equals)), text.substr(equals + 1)};
}

bool is_control(char character) {
    return static_cast<unsigned char>(character) < 0x20;
}

/// Adds an empty property; the list stays closed.
_iSCSI_Property& add(Properties& properties, std::uint32_t id) {
    if (std::any_of(properties.begin(), properties.end(),
                    [id](const Property& other) { return other.id == id; }))
        throw UsageError(full_key(id) + " is given twice");
    return *properties.insert(properties.end() - 1, Property{id, {}});
}

void add_value(Properties& properties, const Setting& setting) {
    const auto& [id, value] = setting;
    Property& property = add(properties, id);
    const std::size_t longest = id == iscsi_property::initiator_name ? 223 : sizeof property.value - 1;
    if (value.size() > longest)
        throw UsageError("a value has at most " + std::to_string(longest) + " characters");
    if (std::any_of(value.begin(), value.end(), is_control))
        throw UsageError("a value is one line without control characters");
    if (is_secret(id)) diagnose("a secret on the command line can be seen by others: use --secret-file");
    if (const std::string text = objection(id, value); !text.empty()) diagnose(full_key(id) + ": " + text);
    value.copy(property.value, value.size());
}

struct SetRequest {
    Names settings;
    Names secret_files;
    bool only_try = false;
};

Properties properties_of(const SetRequest& request) {
    if (request.settings.empty() && request.secret_files.empty()) {
        throw UsageError("config set needs a KEY=VALUE at least");
    }
    if (std::count_if(request.secret_files.begin(), request.secret_files.end(),
                      [](const std::string& text) { return text.ends_with("=-"); }) > 1) {
        throw UsageError("standard input can give one secret only");
    }
    Properties properties = {{iscsi_property::end_of_list, {}}};
    for (const std::string& text : request.settings) add_value(properties, parse_setting(text));
    for (const std::string& text : request.secret_files) {
        const auto& [id, file] = parse_setting(text);
        read_secret(file, full_key(id), add(properties, id).value);
    }
    return properties;
}

void tell_of_new_name(const Change& change) {
    if (change.file != initiator_name_file || change.kind == Change::Kind::unchanged) return;
    if (const std::size_t lines = lines_in(initiator_name_file).size(); lines > 1) {
        diagnose("the name replaces the whole of initiatorname.iscsi, its " + std::to_string(lines - 1) +
                 " other lines too");
    }
    if (!session_numbers().empty()) diagnose("sessions that are up keep the name that they were made under");
}

bool is_wanted(const Change& change) {
    return change.kind != Change::Kind::unchanged;
}

/// Has the library write, and looks at what the files say then.
void make(std::vector<Change>& changes, Properties& properties) {
    OpenInitiator initiator;
    const unsigned int status = initiator.SetProperty(the_initiator, properties.data());
    require_success(initiator, "set the settings", status,
                    status == iscsi_status::end_of_table ? "a file cannot be opened or written" : "");
    const std::vector<Change> now = changes_for(properties);
    if (now.size() != changes.size() || std::any_of(now.begin(), now.end(), is_wanted))
        throw Failure("the library reported no failure, and yet the files do not say so: try it again");
    for (std::size_t i = 0; i < now.size(); ++i) changes[i].line = now[i].line;
}

void show_lines(const std::vector<Change>& changes) {
    for (const Change& change : changes) {
        if (!is_wanted(change)) continue;
        const std::string key = change.key + (change.file == initiator_name_file ? "=" : " = ");
        if (change.old_value) std::cout << safe_text('-' + key + *change.old_value) << '\n';
        std::cout << safe_text('+' + key + change.value) << '\n';
    }
    if (std::none_of(changes.begin(), changes.end(), is_wanted)) std::cout << "nothing would change\n";
}

void set_settings(const SetRequest& request, const Output& output) {
    Properties properties = properties_of(request);
    OpenInitiator initiator;
    require_success(initiator, "set the settings",
                    check_stack_available() != 0 ? iscsi_status::success : iscsi_status::stack_not_installed);
    require_open_settings();
    std::vector<Change> changes = changes_for(properties);
    for (const Change& change : changes) tell_of_new_name(change);
    // What stands already is not written: the library would add a line to the end of the file each time.
    const bool is_needed = std::any_of(changes.begin(), changes.end(), is_wanted);
    if (is_needed && !request.only_try) make(changes, properties);
    if (request.only_try && !output.json) return show_lines(changes);
    output.list(change_columns(), changes);
}

void get_setting(const std::string& key, const Output& output) {
    const std::uint32_t id = property_id(key);
    OpenInitiator initiator;
    for (const Property& property : settings_of(initiator)) {
        if (property.id != id) continue;
        if (output.json) return output.record(setting_columns, property);
        const std::string value = shown_value(id, field_text(property.value));
        std::cout << (isatty(STDOUT_FILENO) != 0 ? safe_text(value) : value) << '\n';
        return;
    }
    throw Failure(full_key(id) + " is not set", exit_not_there);
}

void declare_get(const CommandLine& get, Output& output) {
    const auto key = add_required(get, "KEY", key_description);
    get.on_run([key, &output] { get_setting(*key, output); });
}

void declare_set(const CommandLine& set, Output& output) {
    const auto wish = std::make_shared<SetRequest>();
    set.add_repeatable("SETTING", into(wish->settings),
                       std::string("KEY=VALUE, where KEY is ") + key_description);
    set.add_repeatable(
        "--secret-file KEY=FILE", into(wish->secret_files),
        "KEY=FILE: take the value from the one line in FILE, \"-\" for standard input (repeatable)");
    set.add_flag("--dry-run", wish->only_try, "Show what would change, and change nothing");
    add_listing_options(set, output, headings_of(change_columns()));
    set.on_run([wish, &output] { set_settings(*wish, output); });
}

void declare_config(const CommandLine& config, Output& output) {
    declare_get(config.add_command("get", "Print the value of a setting"), output);
    declare_set(
        config.add_command(
            "set",
            "Change settings and tell which lines were replaced or appended. The initiator name is a file of "
            "its own, which is replaced as a whole. Records of targets that are known already do not change"),
        output);
    add_listing_options(config, output, headings_of(setting_columns));
    config.on_run([config, &output] {
        if (!config.has_command()) show_settings(output);
    });
}

void declare_node(const CommandLine& node, Output& output) {
    add_record_options(node, output, headings_of(node_columns));
    node.on_run([&output] { show_node(output); });
}

constexpr Command commands[] = {
    {"node", "Show the initiator", declare_node},
    {"config", "List all settings; secrets show as stars", declare_config},
};

}  // namespace

std::span<const Command> config_commands() {
    return commands;
}

}  // namespace opinitctl
