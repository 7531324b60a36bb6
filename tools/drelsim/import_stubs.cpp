// SPDX-License-Identifier: Apache-2.0
#include "import.h"
namespace drelsim {
SwitchImport import_eos_yaml(const std::string &, const std::string &f) { refuse(f, 1, "todo"); }
SwitchImport import_ifupdown2(const std::string &, const std::string &f) { refuse(f, 1, "todo"); }
SwitchImport import_nvue(const std::string &, const std::string &f) { refuse(f, 1, "todo"); }
SwitchImport import_sonic(const std::string &, const std::string &f) { refuse(f, 1, "todo"); }
}
