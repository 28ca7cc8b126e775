/*
 * The module's functions, declared once.
 *
 * Every consumer (the public prototypes, the per-set declarations, the
 * dispatched entries, the entry slots, the name table and the export list)
 * defines the row macros it needs and includes this file; rows whose macro
 * is not defined expand to nothing. The file has no include guard on purpose.
 *
 * Rows, in name-table order (the first argument is the record number):
 *   QM_FIXED(rec, ordinal, ret, name, params)         fixed record 0..24
 *   QM_SLOT(rec, ordinal, ret, name, params, args)    entry slot, one variant table
 *   QM_NONE(rec, name)                                listed, deliberately without code
 *   QM_LOOKUP(ordinal, ret, name, params)             the lookup itself (no record)
 * ordinal is the export ordinal, 0 for functions reachable only by lookup.
 * A *_TODO row has the same shape and marks a function whose code has not
 * been written yet: its name is in the table and resolves to null.
 */
#ifndef QM_FIXED
#define QM_FIXED(rec, ord, ret, name, params)
#endif
#ifndef QM_FIXED_TODO
#define QM_FIXED_TODO(rec, ord, ret, name, params)
#endif
#ifndef QM_SLOT
#define QM_SLOT(rec, ord, ret, name, params, args)
#endif
#ifndef QM_SLOT_TODO
#define QM_SLOT_TODO(rec, ord, ret, name, params, args)
#endif
#ifndef QM_NONE
#define QM_NONE(rec, name)
#endif
#ifndef QM_LOOKUP
#define QM_LOOKUP(ord, ret, name, params)
#endif

/* Scanner filters. */
QM_FIXED(0, 10, Ipp32u, DeosConvRgbInFilterCoef,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u radius, const Ipp32f* kernels))
QM_FIXED(1, 11, Ipp32u, DeosConvMonoInFilterCoef,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u radius, const Ipp32f* kernel))
QM_FIXED(2, 12, Ipp32u, DeosNrRGB,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u level))
QM_FIXED(3, 13, Ipp32u, DeosNrIndividualRGB,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode0, Ipp32u level0,
     Ipp32u mode1, Ipp32u level1, Ipp32u mode2, Ipp32u level2))
QM_FIXED(4, 14, Ipp32u, DeosNrYUV,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u modeY, Ipp32u levelY,
     Ipp32u modeUV, Ipp32u levelUV))
QM_FIXED(5, 15, Ipp32u, DeosNrMono,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u level))
QM_FIXED(6, 4, Ipp32u, DeosConvRGB,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u radius, int level))
QM_FIXED(7, 5, Ipp32u, DeosConvRGB2,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u radius, int level,
     const Ipp32f* kernel))
QM_FIXED(8, 6, Ipp32u, DeosConvRGB3,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u radius, int level,
     const Ipp32s* kernel))
QM_FIXED(9, 7, Ipp32u, DeosConvRGB4,
    (const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u radius, int level,
     const Ipp32s* kernel, const Ipp8u* lut))
QM_FIXED(10, 8, Ipp32u, SetDeosConvKernelValue,
    (Ipp32u mode, Ipp32u radius, int level, Ipp32s* out))
QM_FIXED(11, 0, Ipp32u, SetDeosConvKernelUserValue,
    (const Ipp32f* in, Ipp32u radius, Ipp32s* out))
QM_FIXED(12, 0, Ipp32u, GetDeosConvKernelValue,
    (Ipp32u mode, Ipp32u radius, int level, Ipp32f* out))
QM_FIXED(13, 16, IppStatus, GaussNrRGB,
    (const NrImageRecord* src, const NrImageRecord* dst, int radius))
QM_FIXED(14, 17, IppStatus, MedianNrRGB,
    (const NrImageRecord* src, const NrImageRecord* dst, int radius))
QM_FIXED(15, 18, IppStatus, MedianColorNrRGB,
    (const NrImageRecord* src, const NrImageRecord* dst, int radius))

/* Core services. */
QM_FIXED(16, 0, IppStatus, ippSetNumThreads, (int numThreads))
QM_FIXED(17, 0, IppStatus, ippGetNumThreads, (int* pNumThreads))
QM_FIXED(18, 0, const IppLibraryVersion*, ippGetLibVersion, (void))
QM_FIXED(19, 0, int, ippGetCpuType, (void))
QM_FIXED(20, 0, Ipp64u, ippGetCpuClocks, (void))
QM_FIXED(21, 0, IppStatus, ippGetCpuFeatures, (Ipp64u* pFeaturesMask, Ipp32u* pCpuidInfoRegs))
QM_FIXED(22, 0, int, ippGetNumCoresOnDie, (void))
QM_FIXED(23, 0, void*, ippMalloc, (int length))
QM_FIXED(24, 0, void, ippFree, (void* ptr))

/* Image primitives behind entry slots. */
QM_SLOT(25, 0, const IppLibraryVersion*, ippiGetLibVersion, (void), ())
QM_SLOT(26, 30, IppStatus, ippiResize_8u_C1R,
    (const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, Ipp8u* pDst, int dstStep,
     IppiSize dstRoiSize, double xFactor, double yFactor, int interpolation),
    (pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor, yFactor, interpolation))
QM_SLOT(27, 31, IppStatus, ippiResize_8u_C3R,
    (const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, Ipp8u* pDst, int dstStep,
     IppiSize dstRoiSize, double xFactor, double yFactor, int interpolation),
    (pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor, yFactor, interpolation))
QM_SLOT(28, 32, IppStatus, ippiRemap_8u_C1R,
    (const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, const Ipp32f* pxMap,
     int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst, int dstStep,
     IppiSize dstRoiSize, int interpolation),
    (pSrc, srcSize, srcStep, srcRoi, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep,
     dstRoiSize, interpolation))
QM_SLOT(29, 33, IppStatus, ippiRemap_8u_C3R,
    (const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, const Ipp32f* pxMap,
     int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst, int dstStep,
     IppiSize dstRoiSize, int interpolation),
    (pSrc, srcSize, srcStep, srcRoi, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep,
     dstRoiSize, interpolation))
QM_SLOT(30, 0, IppStatus, ippiFilter_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     const Ipp32s* pKernel, IppiSize kernelSize, IppiPoint anchor, int divisor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, divisor))
QM_SLOT(31, 36, IppStatus, ippiFilter_8u_C1R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     const Ipp32s* pKernel, IppiSize kernelSize, IppiPoint anchor, int divisor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, divisor))
QM_SLOT(32, 0, IppStatus, ippiFilter32f_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     const Ipp32f* pKernel, IppiSize kernelSize, IppiPoint anchor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor))
QM_SLOT(33, 0, IppStatus, ippiFilter32f_8u_C1R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     const Ipp32f* pKernel, IppiSize kernelSize, IppiPoint anchor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor))
QM_SLOT(34, 37, IppStatus, ippiCopy_8u_C3P3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(35, 38, IppStatus, ippiCopy_8u_P3C3R,
    (const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_NONE(36, ippiConvert_8u16u_C1R)
QM_NONE(37, ippiConvert_8u16u_C3R)
QM_NONE(38, ippiConvert_16u8u_C1R)
QM_NONE(39, ippiConvert_16u8u_C3R)
QM_NONE(40, ippiSub_8u_C1IRSfs)
QM_NONE(41, ippiSub_8u_C3IRSfs)
QM_NONE(42, ippiLUT_8u_C1R)
QM_NONE(43, ippiLUT_8u_C3R)
QM_NONE(44, ippiLUT_16s_C1R)
QM_NONE(45, ippiLUT_16s_C3R)
QM_NONE(46, ippiLUT_8u_C1IR)
QM_NONE(47, ippiLUT_8u_C3IR)
QM_NONE(48, ippiLUT_16s_C1IR)
QM_NONE(49, ippiLUT_16s_C3IR)
QM_SLOT(50, 0, IppStatus, ippiBGRToHLS_8u_P3R,
    (const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(51, 0, IppStatus, ippiRGBToHLS_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(52, 0, IppStatus, ippiRGBToHLS_16u_C3R,
    (const Ipp16u* pSrc, int srcStep, Ipp16u* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(53, 0, IppStatus, ippiRGBToHLS_16s_C3R,
    (const Ipp16s* pSrc, int srcStep, Ipp16s* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(54, 39, IppStatus, ippiRGBToHLS_32f_C3R,
    (const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(55, 0, IppStatus, ippiHLSToBGR_8u_P3R,
    (const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(56, 0, IppStatus, ippiHLSToRGB_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(57, 0, IppStatus, ippiHLSToRGB_16u_C3R,
    (const Ipp16u* pSrc, int srcStep, Ipp16u* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(58, 0, IppStatus, ippiHLSToRGB_16s_C3R,
    (const Ipp16s* pSrc, int srcStep, Ipp16s* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(59, 40, IppStatus, ippiHLSToRGB_32f_C3R,
    (const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(60, 34, IppStatus, ippiRGBToYUV_8u_C3P3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(61, 35, IppStatus, ippiYUVToRGB_8u_P3C3R,
    (const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(62, 0, IppStatus, ippiRGBToYUV_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(63, 0, IppStatus, ippiYUVToRGB_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize),
    (pSrc, srcStep, pDst, dstStep, roiSize))
QM_SLOT(64, 0, IppStatus, ippiFilterMedian_8u_C1R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     IppiSize maskSize, IppiPoint anchor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor))
QM_SLOT(65, 0, IppStatus, ippiFilterMedian_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     IppiSize maskSize, IppiPoint anchor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor))
QM_SLOT(66, 0, IppStatus, ippiFilterMedianColor_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, int maskCode),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskCode))
QM_SLOT(67, 0, IppStatus, ippiFilterBox_8u_C1R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     IppiSize maskSize, IppiPoint anchor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor))
QM_SLOT(68, 0, IppStatus, ippiFilterBox_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     IppiSize maskSize, IppiPoint anchor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor))
QM_SLOT(69, 0, IppStatus, ippiFilterBox_8u_C1IR,
    (Ipp8u* pSrcDst, int srcDstStep, IppiSize roiSize, IppiSize maskSize, IppiPoint anchor),
    (pSrcDst, srcDstStep, roiSize, maskSize, anchor))
QM_SLOT(70, 0, IppStatus, ippiFilterBox_8u_C3IR,
    (Ipp8u* pSrcDst, int srcDstStep, IppiSize roiSize, IppiSize maskSize, IppiPoint anchor),
    (pSrcDst, srcDstStep, roiSize, maskSize, anchor))
QM_SLOT(71, 0, IppStatus, ippiFilterMin_8u_C1R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     IppiSize maskSize, IppiPoint anchor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor))
QM_SLOT(72, 0, IppStatus, ippiFilterMax_8u_C1R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     IppiSize maskSize, IppiPoint anchor),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor))
QM_SLOT(73, 0, IppStatus, ippiFilterBilateralGetBufSize_8u_C1R,
    (int filterType, IppiSize maxDstRoiSize, IppiSize maxKernelSize, int* pBufferSize),
    (filterType, maxDstRoiSize, maxKernelSize, pBufferSize))
QM_SLOT(74, 0, IppStatus, ippiFilterBilateralInit_8u_C1R,
    (int filterType, IppiSize maxKernelSize, Ipp32f valSquareSigma, Ipp32f posSquareSigma,
     int stepInKernel, Ipp8u* pBuffer),
    (filterType, maxKernelSize, valSquareSigma, posSquareSigma, stepInKernel, pBuffer))
QM_SLOT(75, 0, IppStatus, ippiFilterBilateral_8u_C1R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
     IppiSize kernelSize, Ipp8u* pBuffer),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, kernelSize, pBuffer))
QM_SLOT(76, 0, IppStatus, ippiFilterGauss_8u_C1R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, int maskCode),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskCode))
QM_SLOT(77, 0, IppStatus, ippiFilterGauss_8u_C3R,
    (const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, int maskCode),
    (pSrc, srcStep, pDst, dstStep, dstRoiSize, maskCode))
QM_NONE(78, ippiFilterWienerGetBufferSize)
QM_NONE(79, ippiFilterWiener_8u_C1R)
QM_NONE(80, ippiFilterWiener_8u_C3R)
QM_SLOT(81, 0, Ipp8u*, ippiMalloc_8u_C3, (int widthPixels, int heightPixels, int* pStepBytes),
    (widthPixels, heightPixels, pStepBytes))
QM_SLOT(82, 0, void, ippiFree, (void* ptr), (ptr))
QM_SLOT(83, 0, Ipp8u*, ippsMalloc_8u, (int len), (len))
QM_SLOT(84, 0, void, ippsFree, (void* ptr), (ptr))

/* The lookup, exported but not a table record. */
QM_LOOKUP(70, QM_PROC, GetProcAddressForThisDLL, (void* module, const char* name))

#undef QM_FIXED
#undef QM_FIXED_TODO
#undef QM_SLOT
#undef QM_SLOT_TODO
#undef QM_NONE
#undef QM_LOOKUP
