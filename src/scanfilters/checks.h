// The argument checks of the scanner filters. Each filter states its own
// checks as one chain, in its documented order; the first refusal is the
// result, later links only pass it on:
//     if (const Ipp32u r = ScanChecks{}.width(width).conv_mode(mode).distinct(src, dst)) return r;
#pragma once
#include "ippiQM300.h"

namespace qm {

class ScanChecks {
public:
    // Signed remainder: a negative multiple of 4 passes.
    ScanChecks& width(int w) { return refuse_if(w % 4 != 0, qmScanBadWidth); }
    ScanChecks& conv_mode(Ipp32u mode) { return refuse_if(mode > 1, qmScanBadMode); }
    ScanChecks& nr_mode(Ipp32u mode) { return refuse_if(mode > 2, qmScanBadArgument); }
    ScanChecks& level(Ipp32u level) { return refuse_if(level > 10, qmScanBadLevel); }
    ScanChecks& present(const void* p) { return refuse_if(p == nullptr, qmScanBadArgument); }
    // Most filters report qmScanSameImage; the two that filter by caller
    // kernels report qmScanBadArgument.
    ScanChecks& distinct(const void* src, const void* dst, Ipp32u code = qmScanSameImage) {
        return refuse_if(src == dst, code);
    }
    operator Ipp32u() const { return result_; }

private:
    ScanChecks& refuse_if(bool bad, Ipp32u code) {
        if (result_ == qmScanDone && bad) result_ = code;
        return *this;
    }
    Ipp32u result_ = qmScanDone;
};

}  // namespace qm
