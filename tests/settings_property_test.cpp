// Generated settings files and requests: whatever stands in the file, only the lines of the request change.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

#include "tests/support/host.h"
#include "tests/support/settings.h"

namespace {

using namespace settings;

class Generator {
public:
    explicit Generator(unsigned int seed) : random_{seed} {}

    std::vector<Property> request() {
        std::vector<Property> all;
        for (const auto& row : iSCSI_PropertyTable) {
            if ((row.flags & 1) != 0 && row.name != nullptr)
                all.push_back({row.id, pick({"a", "", "b c", "=# d"})});
        }
        std::shuffle(all.begin(), all.end(), random_);
        all.resize(number(8) == 0 ? 30 : number(5));
        return all;
    }

    std::string file() {
        std::string text;
        for (std::size_t lines = number(30); lines > 0; --lines) {
            for (std::size_t parts = number(6); parts > 0; --parts) text += part();
            if (lines > 1 || number(2) == 0) text += pick({"\n", "\n", "\n", "\r\n"});
        }
        return text;
    }

private:
    std::size_t number(std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>{0, limit - 1}(random_);
    }
    std::string pick(const std::vector<std::string>& texts) { return texts[number(texts.size())]; }
    std::string part() {
        const auto& row = iSCSI_PropertyTable[1 + number(40)];
        switch (number(8)) {
            case 0:
                return std::string(number(400), pick({"x", " ", "="})[0]);
            case 1:
                return {static_cast<char>(number(256))};
            case 2:
            case 3:
                return pick({" ", "=", " = ", "#", "##", "\t", "_in"});
            case 4:
                return std::string{"discovery.sendtargets.iscsi."} + row.name;
            default:
                return iscsi_property::key_prefix(row.key_class) + std::string{row.name};
        }
    }

    std::mt19937 random_;
};

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream{text};
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string key_of(const std::string& line) {
    const std::size_t begin = std::min(line.find_first_not_of(" ="), line.size());
    return line.substr(begin, line.find_first_of(" =", begin) - begin);
}

std::string full_key(unsigned int id) {
    return iscsi_property::key_prefix(iSCSI_PropertyTable[id].key_class) +
           std::string{iSCSI_PropertyTable[id].name};
}

/// Whether a line may be the setting of one of the properties, by its key alone.
bool may_change(const std::string& line, const std::vector<Property>& request) {
    const std::string key = key_of(line);
    return !key.empty() && !line.starts_with('#') &&
           std::any_of(request.begin(), request.end(), [&](const Property& property) {
               return full_key(property.first).ends_with(key.substr(0, key.find("##")));
           });
}

TEST(SettingsProperty, LinesThatTheRequestDoesNotNameStay) {
    for (unsigned int seed = 1; seed <= 3000; ++seed) {
        Generator generate{seed};
        const std::string before = generate.file();
        const auto request = generate.request();
        SCOPED_TRACE(testing::PrintToString(seed) + before + testing::PrintToString(request));
        host::write_file(conf, before);
        ASSERT_EQ(set(request), 0);
        const std::string after = host::read_file(conf);
        const auto old_lines = lines_of(before), new_lines = lines_of(after);
        ASSERT_GE(new_lines.size(), old_lines.size());
        for (std::size_t i = 0; i < old_lines.size(); ++i) {
            const bool kept = new_lines[i] == old_lines[i];
            ASSERT_TRUE(kept || new_lines[i].starts_with(key_of(old_lines[i]) + " = ")) << new_lines[i];
            ASSERT_TRUE(kept || may_change(old_lines[i], request)) << new_lines[i];
        }
        for (const auto& [id, value] : request) {
            ASSERT_TRUE(id == 1 || after.find(" = " + value + "\n") != std::string::npos) << id;
        }
        read();
        // A key that begins with "##" makes the line that replaces it a comment.
        if (before.find("##") != std::string::npos) continue;
        ASSERT_EQ(set(request), 0);
        ASSERT_EQ(host::read_file(conf), after);
    }
}

TEST(SettingsProperty, AllSettingsAreReadBack) {
    std::vector<Property> all;
    for (const auto& row : iSCSI_PropertyTable) {
        if ((row.flags & 1) != 0 && row.name != nullptr)
            all.push_back({row.id, "v" + std::to_string(row.id)});
    }
    ASSERT_EQ(all.size(), 30U);
    ASSERT_GT(host::read_file(conf).size(), 4000U);
    EXPECT_EQ(set(all), 0);
    const std::string once = host::read_file(conf), settings = read() + " ";
    EXPECT_EQ(set(all), 0);
    EXPECT_EQ(host::read_file(conf), once);
    for (const auto& [id, value] : all) {
        EXPECT_NE(settings.find(" " + std::to_string(id) + "=" + value + " "), std::string::npos) << settings;
    }
}

}  // namespace
