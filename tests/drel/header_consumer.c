/* SPDX-License-Identifier: Apache-2.0 */
/* A program that includes the public header, which must need nothing before it, and uses its
 * records and names; it builds as C99, gnu99 and C++ (11, 17, 20) under -Wall -Wextra -pedantic
 * -Werror, with every platform header as well. */
#include <zorv_drel.h>

#include <platform/platform.h>

#include <stdio.h>
#include <string.h>

static int failures;

#define CHECK(c)                                                                                   \
    do {                                                                                           \
        if (!(c)) {                                                                                \
            fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #c);                        \
            ++failures;                                                                            \
        }                                                                                          \
    } while (0)

int main(void) {
    /* The enumeration's tag and the table object share one name. */
    enum zorv_drel_lib_mem_type_t last = ZORV_DREL_LIB_MEM_MAX;
    const zorv_drel_lib_mem_type_row_t *table = zorv_drel_lib_mem_type_t;
    vsi_all_t head;
    member_vni_t mv = {12, 5000};

    CHECK(sizeof(bmp4096_t) == 516);
    CHECK(sizeof(encap_map_t) == 16640);
    CHECK(sizeof(vsi_encap_rng_t) == 780);
    CHECK(sizeof(vsi_all_t) == 20);
    CHECK(sizeof(vsi_all_tail_t) == 772);
    CHECK(sizeof(if_cfg_avl_node_t) == 17200);
    CHECK(sizeof(type1_compat_result_t) == 528);
    CHECK(offsetof(vsi_all_t, dyn_map) == 20);
    CHECK((uint8_t *)ZORV_VSI_ALL_TAIL(&head, 2) - (uint8_t *)&head == 36);
    CHECK(mv.bd == 12 && mv.vni == 5000);

    CHECK(table[last].value == 15);
    CHECK(strcmp(table[16].name, "") == 0);
    CHECK(strcmp(__zorv_drel_lib_mem_type_t_find(ZORV_DREL_LIB_MEM_vsi_all_t),
                 "ZORV_DREL_LIB_MEM_vsi_all_t") == 0);
    CHECK(strcmp(zorv_drel_type1_cfg_type_to_str(ZORV_TYPE1_INTF_VSI_ATTRIBUTES),
                 "Intf Vsi Attributes") == 0);
    CHECK(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_GBL_MEMBER_VNI) ==
          ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI);
    CHECK(zorv_drel_lib_get_type_from_uid(0xFF000000u) == 255u);

    if (failures == 0) printf("the header serves its consumer: ok\n");
    return failures == 0 ? 0 : 1;
}
