// node, config, config set.
#include <algorithm>
#include <vector>

#include "answer_buffer.h"
#include "arguments.h"
#include "commands.h"
#include "config_changes.h"
#include "diagnostics.h"
#include "errors.h"
#include "kvlinopinitr/iscsi_properties.h"
#include "kvlinopinitr/open_initiator.h"
#include "listing_options.h"
#include "operation.h"
#include "property_keys.h"
#include "secret.h"

namespace opinitctl {
namespace {

using Property = _iSCSI_Property;
using Node = _InitiatorNode;
using Texts = std::vector<std::string>;

Json count_of_settings(const Node& node) {
    const auto* const end =
        std::find_if(std::begin(node.properties), std::end(node.properties),
                     [](const Property& property) { return property.id == iscsi_property::end_of_list; });
    return end - std::begin(node.properties);
}

const Columns<Node> node_columns = {
    {"initiator_name", [](const Node& node) -> Json { return field_text(node.initiator_name); }},
    {"valid", [](const Node& node) -> Json { return node.node_valid != 0; }},
    {"running", [](const Node& node) -> Json { return node.stack_running != 0; }},
    {"settings", count_of_settings},
};

const Columns<Property> setting_columns = {
    {"id", [](const Property& property) -> Json { return std::uint32_t{property.id}; }},
    {"key", [](const Property& property) -> Json { return full_key(property.id); }},
    {"value", [](const Property& property) { return shown_value(property.id, field_text(property.value)); }},
};

void show_node(const Output& output) {
    OpenInitiator initiator;
    Node node = {};
    unsigned int bytes = 0;
    require_success(initiator, "read the initiator", initiator.GetInitiatorList(&node, &bytes));
    output.record(node_columns, node);
}

void show_settings(const Output& output) {
    OpenInitiator initiator;
    AnswerBuffer<Property> answer;
    require_success(initiator, "read the settings",
                    initiator.GetInitiatorGlobals(answer.data(), answer.bytes()));
    output.list(setting_columns, answer.records());
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

std::vector<Setting> parse_secret_files(const Texts& texts) {
    std::vector<Setting> files;
    for (const std::string& text : texts) files.push_back(parse_setting(text));
    const auto from_input = [](const Setting& file) { return file.value == standard_input; };
    if (std::count_if(files.begin(), files.end(), from_input) > 1) {
        throw UsageError("standard input can give one secret only");
    }
    return files;
}

void set_settings(const Texts& texts, const Texts& secret_texts, const Output& output) {
    if (texts.empty() && secret_texts.empty()) throw UsageError("config set needs a KEY=VALUE at least");
    Request request(texts.size() + secret_texts.size());
    const std::vector<Setting> files = parse_secret_files(secret_texts);
    for (const std::string& text : texts) add_value(request, parse_setting(text));
    for (const Setting& file : files) add_secret(request, file);

    OpenInitiator initiator;
    const std::size_t lines_before = count_settings_lines();
    const unsigned int status = initiator.SetProperty(the_initiator, request.properties().data());
    require_success(initiator, "set the settings", status,
                    status == iscsi_status::end_of_table ? "a file cannot be opened or written" : "");
    output.list(change_columns(), find_changes(request.properties(), lines_before));
}

void declare_set(CLI::App& set, Output& output) {
    const auto settings = std::make_shared<Texts>();
    const auto secret_files = std::make_shared<Texts>();
    set.add_option("SETTING", *settings,
                   "KEY=VALUE, where KEY is a full key, the unambiguous end of one, or an id");
    set.add_option(
           "--secret-file", *secret_files,
           "KEY=FILE: take the value from the one line in FILE, \"-\" for standard input (repeatable)")
        ->allow_extra_args(false);
    add_listing_options(set, output, headings_of(change_columns()));
    set.callback([settings, secret_files, &output] { set_settings(*settings, *secret_files, output); });
}

void declare_config(CLI::App& config, Output& output) {
    declare_set(*config.add_subcommand("set", "Change settings; tells which lines were replaced or appended"),
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
