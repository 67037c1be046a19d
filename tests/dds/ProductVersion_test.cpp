#include "dds/ProductVersion.h"

#include <gtest/gtest.h>

namespace {

TEST(ProductVersion, RecordsAndTexts)
{
    for (const auto *library :
         {WOLK_Config_Version_get_api_version(), WOLK_Config_Version_get_core_version(),
          VERSLibraryVersion_getCoreVersion()})
        EXPECT_TRUE(library->major == 1 && library->minor == 8 && library->release == 'a' &&
                    library->build == 0);
    char text[DDS_PRODUCT_VERSION_STRING_SIZE];
    EXPECT_EQ(DDS_ProductVersion_to_string(WOLK_Config_Version_get_product_version(), text), 1);
    EXPECT_STREQ(text, "5.3.0.0");
    const DDS_ProductVersion_t longest = {-128, -128, -128, -128};
    DDS_ProductVersion_to_string(&longest, text);
    EXPECT_STREQ(text, "-128.-128.-128.-128");
    const std::string core = "WOLKCORE_BUILD_5.3.0.0_20170622T204835Z_ZOV_REL";
    const std::string api = "WOLKC_BUILD_5.3.0.0_20170622T204835Z_ZOV_REL";
    EXPECT_EQ(WOLK_Config_Version_get_core_build_number_string(), core);
    EXPECT_EQ(WOLK_Config_Version_get_C_build_number_string(), api);
    EXPECT_EQ(WOLK_Config_Version_to_string(), core + "\n" + api);
    EXPECT_STREQ(VERSLibraryVersion_coreVersionToString(), "wolkcore1.8a.rev0");
}

TEST(ProductVersion, EqualityAndCopies)
{
    DDS_ProductVersion_t version = {};
    DDS_ProductVersion_get_zovdds_version(&version);
    for (signed char DDS_ProductVersion_t::*field :
         {&DDS_ProductVersion_t::major, &DDS_ProductVersion_t::minor,
          &DDS_ProductVersion_t::release, &DDS_ProductVersion_t::revision}) {
        DDS_ProductVersion_t other = {};
        DDS_ProductVersion_copyI(&other, &version);
        EXPECT_TRUE(DDS_ProductVersion_equals(&version, &other));
        other.*field = 9;
        EXPECT_FALSE(DDS_ProductVersion_equals(&version, &other));
        DDS_ProductVersion_t copy = {};
        EXPECT_EQ(DDS_ProductVersion_to_presentation_qos_policy(&other, &copy), 0);
        EXPECT_TRUE(DDS_ProductVersion_equals(&other, &copy));
        EXPECT_EQ(DDS_ProductVersion_from_presentation_qos_policy(&copy, &version), 0);
        EXPECT_TRUE(DDS_ProductVersion_equals(&copy, &version));
    }
    EXPECT_TRUE(DDS_ProductVersion_equals(nullptr, nullptr));
    EXPECT_FALSE(DDS_ProductVersion_equals(&version, nullptr));
    EXPECT_FALSE(DDS_ProductVersion_equals(nullptr, &version));
}

} // namespace
