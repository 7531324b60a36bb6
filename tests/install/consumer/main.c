/* SPDX-License-Identifier: Apache-2.0 */
/* Loads the installed library and asks it something that needs the platform behind it. */
#include <stdio.h>
#include <string.h>

#include <zorv_drel.h>

int main(void) {
    const char *name = zorv_drel_type1_cfg_type_to_str(9);
    if (strcmp(name, "Intf Vsi Attributes") != 0) return 1;
    if (zorv_drel_gbl_cfg_avl == NULL) return 2; /* the load-time constructor ran */
    printf("%s\n", name);
    return 0;
}
