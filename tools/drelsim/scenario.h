/* SPDX-License-Identifier: Apache-2.0 */
// Scenario files: parsing and validation.
#pragma once

#include <stdexcept>
#include <string>

#include "model.h"

namespace drelsim {

// A scenario that cannot be used; the message names file, line, field and what was expected.
struct ScenarioError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Scenario load_scenario_file(const std::string &path);
Scenario load_scenario_text(const std::string &text, const std::string &source);
const char *default_scenario_text();

} // namespace drelsim
