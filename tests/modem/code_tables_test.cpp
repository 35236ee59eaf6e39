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
    EXPECT_EQ(hash16(mask_crc_msg_32), "3774e5605ae28762");
    EXPECT_EQ(hash16(mask_crc_msg_48), "4724c603f89bae51");
    EXPECT_EQ(hash16(perm_msg_crc_32), "a4e10aa4140ad21c");
    EXPECT_EQ(hash16(perm_msg_crc_48), "5e2155ce1cd1c075");
    EXPECT_EQ(hash16(genPolynomialIndex), "038fc41c2b7a2666");
    EXPECT_EQ(hash16(punct_msg), "8f6ed9d9ed12efcf");
    EXPECT_EQ(hash16(repeat_perm_msg), "904099f5f719b1f3");
    EXPECT_EQ(hash16(perm_msg), "0673d4de78926f39");
    EXPECT_EQ(hash16(phi_scr), "88284e1c78e18eb0");
    EXPECT_EQ(hash16(phaseReal), "45e43f6b4bb8eb73");
    EXPECT_EQ(hash16(phaseImag), "818e568317b246cf");
    EXPECT_EQ(hash16(w_pre), "8007364becea2c09");
    EXPECT_EQ(hash16(w_post), "e345287135a5e77e");
    EXPECT_EQ(hash16(b_flt_ups), "5c6af8cf137aba43");
    EXPECT_EQ(hash16(coef_ht), "f9571c68ac95749f");
    EXPECT_EQ(hash16(Sinewave), "73e1daf45422f10d");
    EXPECT_EQ(hash16(b_flt_dns), "d229522220650824");
    EXPECT_EQ(hash16(coef_equ_freq), "4f793fa0d47c5fdd");
    EXPECT_EQ(hash16(outBits), "4fc753be5e96b97a");
}

} // namespace tonelink
