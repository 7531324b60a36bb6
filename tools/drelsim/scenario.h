/* SPDX-License-Identifier: Apache-2.0 */
// Scenario files: parsing and validation.
#pragma once

#include <string>

#include "input.h"
#include "model.h"

namespace drelsim {

// A scenario that cannot be used; the message names file, line, field and what was expected.
using ScenarioError = InputError;

Scenario load_scenario_file(const std::string &path);
Scenario load_scenario_text(const std::string &text, const std::string &source);
const char *default_scenario_text();

} // namespace drelsim
