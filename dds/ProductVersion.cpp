#include "dds/ProductVersion.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

#define BUILD_SUFFIX "_BUILD_5.3.0.0_20170622T204835Z_ZOV_REL"

constexpr WOLK_Config_LibraryVersion kLibraryVersion = {1, 8, 'a', 0};
constexpr DDS_ProductVersion_t kProductVersion = {5, 3, 0, 0};
constexpr char kCoreBuild[] = "WOLKCORE" BUILD_SUFFIX;
constexpr char kApiBuild[] = "WOLKC" BUILD_SUFFIX;
constexpr char kBuilds[] = "WOLKCORE" BUILD_SUFFIX "\n"
                           "WOLKC" BUILD_SUFFIX;

static_assert(sizeof kBuilds <= 512, "callers copy the text into 512 bytes");
static_assert(sizeof(DDS_ProductVersion_t) == 4);
static_assert(offsetof(WOLK_Config_LibraryVersion, build) == 12);

} // namespace

const WOLK_Config_LibraryVersion *WOLK_Config_Version_get_api_version(void)
{
    return &kLibraryVersion;
}

const WOLK_Config_LibraryVersion *VERSLibraryVersion_getCoreVersion(void)
{
    return &kLibraryVersion;
}

const WOLK_Config_LibraryVersion *WOLK_Config_Version_get_core_version(void)
{
    return VERSLibraryVersion_getCoreVersion();
}

const DDS_ProductVersion_t *WOLK_Config_Version_get_product_version(void)
{
    return &kProductVersion;
}

const char *VERSLibraryVersion_getBuildNumberString(void)
{
    return kCoreBuild;
}

const char *WOLK_Config_Version_get_core_build_number_string(void)
{
    return VERSLibraryVersion_getBuildNumberString();
}

const char *WOLK_Config_Version_get_C_build_number_string(void)
{
    return kApiBuild;
}

const char *WOLK_Config_Version_to_string(void)
{
    return kBuilds;
}

const char *VERSLibraryVersion_coreVersionToString(void)
{
    return "wolkcore1.8a.rev0";
}

void DDS_ProductVersion_get_zovdds_version(DDS_ProductVersion_t *version)
{
    *version = kProductVersion;
}

int32_t DDS_ProductVersion_to_string(const DDS_ProductVersion_t *version, char *buffer)
{
    std::snprintf(buffer, DDS_PRODUCT_VERSION_STRING_SIZE, "%d.%d.%d.%d", version->major,
                  version->minor, version->release, version->revision);
    return 1;
}

DDS_Boolean DDS_ProductVersion_equals(const DDS_ProductVersion_t *a, const DDS_ProductVersion_t *b)
{
    if (a == nullptr || b == nullptr)
        return a == b;
    return std::memcmp(a, b, sizeof *a) == 0;
}

void DDS_ProductVersion_copyI(DDS_ProductVersion_t *destination, const DDS_ProductVersion_t *source)
{
    *destination = *source;
}

int32_t DDS_ProductVersion_to_presentation_qos_policy(const DDS_ProductVersion_t *self,
                                                      DDS_ProductVersion_t *lower)
{
    DDS_ProductVersion_copyI(lower, self);
    return 0;
}

int32_t DDS_ProductVersion_from_presentation_qos_policy(DDS_ProductVersion_t *self,
                                                        const DDS_ProductVersion_t *lower)
{
    DDS_ProductVersion_copyI(self, lower);
    return 0;
}
