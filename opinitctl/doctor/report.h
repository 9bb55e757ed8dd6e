// What the doctor prints.
#pragma once

#include "doctor/check.h"
#include "shown/output.h"

namespace opinitctl::doctor {

/// A check and, where it was mended, what was done.
struct Finding {
    Check check;
    std::string done = {};
};

/// A paragraph for each, wrapped to the terminal's width; or JSON.
void report(const std::vector<Finding>& findings, const Output& output);

}  // namespace opinitctl::doctor
