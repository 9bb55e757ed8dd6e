// What the doctor prints.
#pragma once

#include "doctor/check.h"
#include "shown/output.h"

namespace opinitctl::doctor {

/// A paragraph for each, wrapped to the terminal's width; or JSON.
void report(const Checks& checks, const Output& output);

}  // namespace opinitctl::doctor
