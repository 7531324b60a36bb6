/* SPDX-License-Identifier: Apache-2.0 */
// A scenario written back as a scenario file (without steps), for `drelsim import`.
#pragma once

#include <string>
#include <vector>

#include "model.h"

namespace drelsim {

// The scenario as YAML that the loader reads back to the same model; `comments` open the file
// as "# " lines.
std::string scenario_yaml(const Scenario &s, const std::vector<std::string> &comments);

} // namespace drelsim
