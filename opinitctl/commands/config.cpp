// node, config, config get, config set.
#include <algorithm>
#include <iostream>
#include <vector>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "commands/rehearsal.h"
#include "commands/secret.h"
#include "errors.h"
#include "host/config_changes.h"
#include "host/host_files.h"
#include "host/property_keys.h"
#include "host/setting_values.h"
#include "host/sysfs_sessions.h"
#include "kvlinopinitr/answer_buffer.h"
#include "kvlinopinitr/iscsi_properties.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"
#include "shown/diagnostics.h"
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
    output.record(node_columns, node);
}

std::vector<Property> settings_of(ISCSI_Initiator& initiator) {
    kvlinopinitr::AnswerBuffer<Property> answer;
    require_success(initiator, "read the settings",
                    initiator.GetInitiatorGlobals(answer.data(), answer.bytes()));
    return answer.records();
}

void show_settings(const Output& output) {
    OpenInitiator initiator;
    output.list(setting_columns, settings_of(initiator));
}

/// A property list under construction: closed at all times, and wiped as it may hold secrets.
class Request {
public:
    explicit Request(std::size_t most) {
        // Growing would leave copies of secrets behind.
        properties_.reserve(most + 1);
        close();
    }
    ~Request() { explicit_bzero(properties_.data(), properties_.size() * sizeof(Property)); }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    Property& add(std::uint32_t id) {
        properties_.back().id = id;
        close();
        return *(properties_.end() - 2);
    }
    std::vector<Property>& properties() { return properties_; }

private:
    void close() { properties_.push_back({iscsi_property::end_of_list, {}}); }

    std::vector<Property> properties_;
};

struct Setting {
    std::uint32_t id;
    std::string value;
};

Setting parse_setting(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == text.npos) throw UsageError("a setting is KEY=VALUE");
    return {property_id(text.substr(0, equals)), text.substr(equals + 1)};
}

void add_value(Request& request, const Setting& setting) {
    Property& property = request.add(setting.id);
    const std::string& value = setting.value;
    if (value.size() >= sizeof property.value) throw UsageError("a value has at most 255 characters");
    const auto is_control = [](char character) { return static_cast<unsigned char>(character) < 0x20; };
    if (std::any_of(value.begin(), value.end(), is_control)) {
        throw UsageError("a value is one line without control characters");
    }
    if (is_secret(setting.id))
        diagnose("a secret on the command line can be seen by others: use --secret-file");
    value.copy(property.value, value.size());
}

void add_secret(Request& request, const Setting& setting) {
    read_secret(setting.value, full_key(setting.id), request.add(setting.id).value);
}

std::vector<Setting> parse_secret_files(const Names& texts) {
    std::vector<Setting> files;
    for (const std::string& text : texts) files.push_back(parse_setting(text));
    const auto from_input = [](const Setting& file) { return file.value == standard_input; };
    if (std::count_if(files.begin(), files.end(), from_input) > 1) {
        throw UsageError("standard input can give one secret only");
    }
    return files;
}

struct SetRequest {
    Names settings;
    Names secret_files;
    bool only_try = false;
};

void tell_of_objections(const Properties& properties) {
    for (const Property& property : properties) {
        const std::string text = objection(property.id, field_text(property.value));
        if (!text.empty()) diagnose(full_key(property.id) + ": " + text);
    }
}

void tell_of_new_name(const SettingsFiles& before, const SettingsFiles& after) {
    if (before.name == after.name) return;
    if (before.name.size() > 1) {
        diagnose("the name replaces the whole of initiatorname.iscsi, its " +
                 std::to_string(before.name.size() - 1) + " other lines too");
    }
    if (!session_numbers().empty()) diagnose("sessions that are up keep the name that they were made under");
}

void write_settings(Properties& properties, const SettingsFiles& before) {
    // The library would add a line to the end of the file each time.
    if (missing_from(before, properties).empty()) return;
    OpenInitiator initiator;
    const unsigned int status = initiator.SetProperty(the_initiator, properties.data());
    require_success(initiator, "set the settings", status,
                    status == iscsi_status::end_of_table ? "a file cannot be opened or written" : "");
    const Names missing = missing_from(SettingsFiles::read(), properties);
    if (!missing.empty()) {
        throw Failure("the library reported no failure, and yet the files do not say so: " +
                      enumeration(missing));
    }
}

void show_difference(const SettingsFiles& before, const SettingsFiles& after) {
    const std::string text = difference(before, after);
    for (const std::string& line : split(text, '\n')) {
        if (!line.empty()) std::cout << safe_text(line) << '\n';
    }
    if (text.empty()) std::cout << "nothing would change\n";
}

void set_settings(const SetRequest& wish, const Output& output) {
    if (wish.settings.empty() && wish.secret_files.empty()) {
        throw UsageError("config set needs a KEY=VALUE at least");
    }
    Request request(wish.settings.size() + wish.secret_files.size());
    const std::vector<Setting> files = parse_secret_files(wish.secret_files);
    for (const std::string& text : wish.settings) add_value(request, parse_setting(text));
    for (const Setting& file : files) add_secret(request, file);

    tell_of_objections(request.properties());
    const SettingsFiles before = SettingsFiles::read();
    if (wish.only_try) enter_rehearsal();
    write_settings(request.properties(), before);
    const SettingsFiles after = SettingsFiles::read();
    tell_of_new_name(before, after);
    if (wish.only_try && !output.json) return show_difference(before, after);
    output.list(change_columns(), changes_between(before, after, request.properties()));
}

void get_setting(const std::string& key, const Output& output) {
    const std::uint32_t id = property_id(key);
    OpenInitiator initiator;
    for (const Property& property : settings_of(initiator)) {
        if (property.id != id) continue;
        return output.json ? output.record(setting_columns, property)
                           : output.done(shown_value(id, field_text(property.value)));
    }
    throw Failure(full_key(id) + " is not set", exit_not_there);
}

void declare_get(CLI::App& get, Output& output) {
    const auto key = add_required(get, "KEY", key_description);
    get.callback([key, &output] { get_setting(*key, output); });
}

void declare_set(CLI::App& set, Output& output) {
    const auto wish = std::make_shared<SetRequest>();
    set.add_option("SETTING", wish->settings, std::string("KEY=VALUE, where KEY is ") + key_description)
        ->type_name("");
    set.add_option(
           "--secret-file", wish->secret_files,
           "KEY=FILE: take the value from the one line in FILE, \"-\" for standard input (repeatable)")
        ->type_name("KEY=FILE")
        ->allow_extra_args(false);
    set.add_flag("--dry-run", wish->only_try, "Show what would change, and change nothing");
    add_listing_options(set, output, headings_of(change_columns()));
    set.callback([wish, &output] { set_settings(*wish, output); });
}

void declare_config(CLI::App& config, Output& output) {
    declare_get(*config.add_subcommand("get", "Print the value of a setting"), output);
    declare_set(
        *config.add_subcommand(
            "set",
            "Change settings and tell which lines were replaced or appended. The initiator name is a file of "
            "its own, which is replaced as a whole. Records of targets that are known already do not change"),
        output);
    add_listing_options(config, output, headings_of(setting_columns));
    config.require_subcommand(0, 1);
    config.callback([&config, &output] {
        if (config.get_subcommands().empty()) show_settings(output);
    });
}

void declare_node(CLI::App& node, Output& output) {
    add_record_options(node, output, headings_of(node_columns));
    node.callback([&output] { show_node(output); });
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
