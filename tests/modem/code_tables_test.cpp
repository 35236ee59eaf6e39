#include "modem/code_tables.h"

#include <gtest/gtest.h>

#include "modem/filter_taps.h"
#include "support/signals.h"
#include "tonelink/modem.h"

namespace tonelink {

using test::hash16;

TEST(CodeTables, HoldTheFormat)
{
    // Hashes from an independent model.
    const struct {
        const char *name;
        std::string actual;
        const char *known;
    } tables[] = {
        {"mask_crc_msg_32", hash16(mask_crc_msg_32), "3774e5605ae28762"},
        {"mask_crc_msg_48", hash16(mask_crc_msg_48), "4724c603f89bae51"},
        {"perm_msg_crc_32", hash16(perm_msg_crc_32), "a4e10aa4140ad21c"},
        {"perm_msg_crc_48", hash16(perm_msg_crc_48), "5e2155ce1cd1c075"},
        {"genPolynomialIndex", hash16(genPolynomialIndex), "038fc41c2b7a2666"},
        {"punct_msg", hash16(punct_msg), "8f6ed9d9ed12efcf"},
        {"repeat_perm_msg", hash16(repeat_perm_msg), "904099f5f719b1f3"},
        {"perm_msg", hash16(perm_msg), "0673d4de78926f39"},
        {"p_pilots_odd", hash16(p_pilots_odd), "55d080e1744ffd48"},
        {"p_data_even", hash16(p_data_even), "55d080e1744ffd48"},
        {"p_pilots_even", hash16(p_pilots_even), "f5265af8eb28d6eb"},
        {"p_data_odd", hash16(p_data_odd), "f5265af8eb28d6eb"},
        {"phi_scr", hash16(phi_scr), "88284e1c78e18eb0"},
        {"phaseReal", hash16(phaseReal), "45e43f6b4bb8eb73"},
        {"phaseImag", hash16(phaseImag), "818e568317b246cf"},
        {"w_pre", hash16(w_pre), "8007364becea2c09"},
        {"w_post", hash16(w_post), "e345287135a5e77e"},
        {"b_flt_ups", hash16(b_flt_ups), "5c6af8cf137aba43"},
        {"coef_ht", hash16(coef_ht), "f9571c68ac95749f"},
        {"Sinewave", hash16(Sinewave), "73e1daf45422f10d"},
        {"b_flt_dns", hash16(b_flt_dns), "d229522220650824"},
        {"coef_equ_freq", hash16(coef_equ_freq), "4f793fa0d47c5fdd"},
        {"outBits", hash16(outBits), "4fc753be5e96b97a"},
    };
    for (const auto &table : tables) EXPECT_EQ(table.actual, table.known) << table.name;
}

} // namespace tonelink
