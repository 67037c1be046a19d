/**
 * The versions that the library and its programs carry.
 *
 * Everything returned by pointer is a constant of the library and valid for ever.
 *
 * Threads: any.
 */
#ifndef WOLKCORE_DDS_PRODUCT_VERSION_H
#define WOLKCORE_DDS_PRODUCT_VERSION_H

#include "dds/Types.h"

ZOV_BEGIN_DECLARATIONS

/** Version of a library; release is a letter. */
struct WOLK_Config_LibraryVersion
{
    int32_t major; /**< 1 */
    int32_t minor; /**< 8 */
    char release;  /**< 'a' */
    int32_t build; /**< 0 */
};
typedef struct WOLK_Config_LibraryVersion WOLK_Config_LibraryVersion;

/** Version of the product; four numbers. */
struct DDS_ProductVersion_t
{
    signed char major;    /**< 5 */
    signed char minor;    /**< 3 */
    signed char release;  /**< 0 */
    signed char revision; /**< 0 */
};
typedef struct DDS_ProductVersion_t DDS_ProductVersion_t;

/** Bytes that DDS_ProductVersion_to_string needs at most, the terminator included. */
#define DDS_PRODUCT_VERSION_STRING_SIZE 20

/** 1.8a, build 0. */
const struct WOLK_Config_LibraryVersion *WOLK_Config_Version_get_api_version(void);
/** 1.8a, build 0. */
const struct WOLK_Config_LibraryVersion *WOLK_Config_Version_get_core_version(void);
/** 5.3.0.0. */
const struct DDS_ProductVersion_t *WOLK_Config_Version_get_product_version(void);
/** "WOLKCORE_BUILD_", the product version, the time of creation and "_ZOV_REL". */
const char *WOLK_Config_Version_get_core_build_number_string(void);
/** The same behind "WOLKC_BUILD_". */
const char *WOLK_Config_Version_get_C_build_number_string(void);
/** Both build strings, the core's first, joined by a newline; at most 511 characters. */
const char *WOLK_Config_Version_to_string(void);

/** The same as WOLK_Config_Version_get_core_version. */
const struct WOLK_Config_LibraryVersion *VERSLibraryVersion_getCoreVersion(void);
/** The same as WOLK_Config_Version_get_core_build_number_string. */
const char *VERSLibraryVersion_getBuildNumberString(void);
/** "wolkcore1.8a.rev0". */
const char *VERSLibraryVersion_coreVersionToString(void);

/** Stores the product version, 5.3.0.0. */
void DDS_ProductVersion_get_zovdds_version(struct DDS_ProductVersion_t *version) ZOV_NONNULL();
/**
 * Writes the version as "5.3.0.0".
 *
 * @param buffer has room for DDS_PRODUCT_VERSION_STRING_SIZE bytes.
 * @return 1.
 */
int32_t DDS_ProductVersion_to_string(const struct DDS_ProductVersion_t *version, char *buffer)
    ZOV_NONNULL();
/** Compares all four numbers. Two null pointers are equal, and one is unequal to any version. */
DDS_Boolean DDS_ProductVersion_equals(const struct DDS_ProductVersion_t *a,
                                      const struct DDS_ProductVersion_t *b);
/** Copies the four numbers. */
void DDS_ProductVersion_copyI(struct DDS_ProductVersion_t *destination,
                              const struct DDS_ProductVersion_t *source) ZOV_NONNULL();
/** Copies the four numbers to the lower layer's record. Returns 0. */
int32_t DDS_ProductVersion_to_presentation_qos_policy(const struct DDS_ProductVersion_t *self,
                                                      struct DDS_ProductVersion_t *lower)
    ZOV_NONNULL();
/** Copies the four numbers from the lower layer's record. Returns 0. */
int32_t DDS_ProductVersion_from_presentation_qos_policy(struct DDS_ProductVersion_t *self,
                                                        const struct DDS_ProductVersion_t *lower)
    ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
