/*
 * ippiQM300: image-processing module of the document-scanner driver.
 *
 * Hosts load the module (ippiQM300-x64.dll on Windows, ippiQM300-x64.so on
 * Linux) at run time and resolve every function by name with
 * GetProcAddressForThisDLL; 26 of them are also exported by name. This
 * header gives the shared types and the prototypes, so a host can declare
 * its function-pointer types as, for example,
 *     typedef IppStatus (*FilterBoxFn)(const Ipp8u*, int, Ipp8u*, int,
 *                                      IppiSize, IppiSize, IppiPoint);
 * or use the pointer types declared below (qm_<name>_fn).
 */
#ifndef IPPIQM300_H
#define IPPIQM300_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint8_t Ipp8u;
typedef uint16_t Ipp16u;
typedef int16_t Ipp16s;
typedef uint32_t Ipp32u;
typedef int32_t Ipp32s;
typedef uint64_t Ipp64u;
typedef float Ipp32f;

/* 0 success, negative error (nothing written), positive warning. */
typedef int IppStatus;
enum {
    ippStsNoErr = 0,
    ippStsNoOperation = 1,
    ippStsWrongVendor = 20,        /* warning: processor of another vendor */
    ippStsNoRoiOverlap = 29,       /* warning: source ROI outside the source image */
    ippStsNotSupportedCpu = 36,
    ippStsCacheSizeUnknown = 37,
    ippStsSizeErr = -6,
    ippStsNullPtrErr = -8,
    ippStsMemAllocErr = -9,
    ippStsStepErr = -14,
    ippStsContextMatchErr = -17,   /* bilateral record without a valid magic */
    ippStsInterpolationErr = -22,
    ippStsResizeFactorErr = -23,
    ippStsMaskSizeErr = -33,
    ippStsAnchorErr = -34,
    ippStsDivisorErr = -51,
    ippStsResizeNoOperationErr = -201, /* scaled region below half a pixel */
    ippStsBadArgErr = -5,          /* bilateral set-up: sigma or step out of range */
    ippStsNotSupportedModeErr = -9999 /* bilateral filter type not 100 or 101 */
};

typedef struct { int width; int height; } IppiSize;
typedef struct { int x; int y; } IppiPoint;
typedef struct { int x; int y; int width; int height; } IppiRect;

typedef struct {
    int major;
    int minor;
    int majorBuild;
    int build;
    char targetCpu[4];      /* not NUL-terminated when all 4 are used */
    const char* Name;
    const char* Version;
    const char* BuildDate;
} IppLibraryVersion;

/* Image record of the filter-wrapper noise reductions (GaussNrRGB and kin). */
typedef struct {
    Ipp8u* data;            /* 3 bytes per pixel, rows back to back */
    void* reserved;         /* not read by the module */
    int width;
    int height;
} NrImageRecord;

/* Interpolation codes (resize, remap) and the remap smooth-edge flag. */
enum {
    IPPI_INTER_NN = 1,
    IPPI_INTER_LINEAR = 2,
    IPPI_INTER_CUBIC = 4,
    IPPI_INTER_CUBIC2P_CATMULLROM = 6,
    IPPI_INTER_SUPER = 8,
    IPPI_INTER_LANCZOS = 16
};
#define IPPI_SMOOTH_EDGE ((int)0x80000000u)

/* Mask codes: width digit then height digit. */
enum { ippMskSize1x3 = 13, ippMskSize1x5 = 15, ippMskSize3x1 = 31,
       ippMskSize3x3 = 33, ippMskSize5x1 = 51, ippMskSize5x5 = 55 };

/* Results of the scanner filters (Deos*), Ipp32u. Each filter documents
   which of its arguments it tests and in what order; the first refusal wins.
   Two of them report a source equal to the destination as 1, not 5. */
enum QmScanResult {
    qmScanDone = 0,
    qmScanBadArgument = 1,   /* unknown radius, null kernel, noise-reduction mode above 2 */
    qmScanBadLevel = 2,      /* noise-reduction level above 10 */
    qmScanBadWidth = 3,      /* width not a multiple of 4 */
    qmScanBadMode = 4,       /* convolution mode above 1 */
    qmScanSameImage = 5      /* source equals destination */
};

/* Bilateral filter types. */
enum { ippiFilterBilateralGauss = 100, ippiFilterBilateralGaussFast = 101 };

/* Processor classes reported by ippGetCpuType. */
enum { ippCpuUnknown = 0, ippCpuSSE = 0x40, ippCpuSSE2 = 0x41, ippCpuSSE3 = 0x42,
       ippCpuSSSE3 = 0x43, ippCpuSSE41 = 0x44, ippCpuSSE42 = 0x45, ippCpuAVX = 0x46,
       ippCpuX8664 = 0x60 };

typedef void (*QM_PROC)(void);

/* Inside the Linux module every listed function is visible to the linker,
   whose export list then keeps exactly the exported ones. The Windows DLL
   marks nothing: its module-definition file alone names the exports. */
#if defined(QM_BUILD_MODULE) && !defined(_WIN32)
#define QM_API __attribute__((visibility("default")))
#else
#define QM_API
#endif

/* Prototypes and pointer types of every function that has code. */
#define QM_FIXED(rec, ord, ret, name, params) \
    QM_API ret name params; typedef ret (*qm_##name##_fn) params;
#define QM_FIXED_TODO(rec, ord, ret, name, params) typedef ret (*qm_##name##_fn) params;
#define QM_SLOT(rec, ord, ret, name, params, args) \
    QM_API ret name params; typedef ret (*qm_##name##_fn) params;
#define QM_SLOT_TODO(rec, ord, ret, name, params, args) typedef ret (*qm_##name##_fn) params;
#define QM_LOOKUP(ord, ret, name, params) \
    QM_API ret name params; typedef ret (*qm_##name##_fn) params;
#include "ippiQM300_functions.h"

#ifdef __cplusplus
}
#endif
#endif
