#include "shown/names.h"

#include <algorithm>

namespace opinitctl {
std::string enumeration(const Names& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

Names without(Names names, const Names& others) {
    std::erase_if(names, [&others](const std::string& name) {
        return std::find(others.begin(), others.end(), name) != others.end();
    });
    return names;
}

}  // namespace opinitctl
