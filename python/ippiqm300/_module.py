"""Loading the module the way the scanner driver does, and calling it by name.

The module is opened with dlopen and every function is resolved through its
own ``GetProcAddressForThisDLL``; nothing is linked and nothing is compiled.
"""
import ctypes
import os
import sys
import sysconfig

MODULE_FILE = "ippiQM300-x64.so"
ENV_VAR = "IPPIQM300_MODULE"

c_int, c_u32, c_u64, c_void_p, c_float, c_double = (
    ctypes.c_int, ctypes.c_uint32, ctypes.c_uint64, ctypes.c_void_p, ctypes.c_float, ctypes.c_double)


class Size(ctypes.Structure):
    """IppiSize: width and height in pixels, passed by value."""
    _fields_ = [("width", c_int), ("height", c_int)]


class Point(ctypes.Structure):
    """IppiPoint: x and y, passed by value (anchors)."""
    _fields_ = [("x", c_int), ("y", c_int)]


class Rect(ctypes.Structure):
    """IppiRect: x, y, width, height, passed by value."""
    _fields_ = [("x", c_int), ("y", c_int), ("width", c_int), ("height", c_int)]


class LibraryVersion(ctypes.Structure):
    """IppLibraryVersion: the version records of the module."""
    _fields_ = [("major", c_int), ("minor", c_int), ("majorBuild", c_int), ("build", c_int),
                ("targetCpu", ctypes.c_char * 4), ("Name", ctypes.c_char_p),
                ("Version", ctypes.c_char_p), ("BuildDate", ctypes.c_char_p)]


class NrImageRecord(ctypes.Structure):
    """Image record of GaussNrRGB, MedianNrRGB and MedianColorNrRGB."""
    _fields_ = [("data", c_void_p), ("reserved", c_void_p), ("width", c_int), ("height", c_int)]


# One letter per C type of the header: v void, i int/IppStatus, I Ipp32u,
# Q Ipp64u, p any pointer, f float, d double, S IppiSize, T IppiPoint,
# R IppiRect, L const IppLibraryVersion*.
_TYPES = {"v": None, "i": c_int, "I": c_u32, "Q": c_u64, "p": c_void_p, "f": c_float,
          "d": c_double, "S": Size, "T": Point, "R": Rect, "L": ctypes.POINTER(LibraryVersion)}

# name: (return type, argument types), in the module's name-table order.
SIGNATURES = {
    "DeosConvRgbInFilterCoef": ("I", "ppiiIp"), "DeosConvMonoInFilterCoef": ("I", "ppiiIp"),
    "DeosNrRGB": ("I", "ppiiII"), "DeosNrIndividualRGB": ("I", "ppiiIIIIII"),
    "DeosNrYUV": ("I", "ppiiIIII"), "DeosNrMono": ("I", "ppiiII"),
    "DeosConvRGB": ("I", "ppiiIIi"), "DeosConvRGB2": ("I", "ppiiIIip"),
    "DeosConvRGB3": ("I", "ppiiIIip"), "DeosConvRGB4": ("I", "ppiiIIipp"),
    "SetDeosConvKernelValue": ("I", "IIip"), "SetDeosConvKernelUserValue": ("I", "pIp"),
    "GetDeosConvKernelValue": ("I", "IIip"),
    "GaussNrRGB": ("i", "ppi"), "MedianNrRGB": ("i", "ppi"), "MedianColorNrRGB": ("i", "ppi"),
    "ippSetNumThreads": ("i", "i"), "ippGetNumThreads": ("i", "p"), "ippGetLibVersion": ("L", ""),
    "ippGetCpuType": ("i", ""), "ippGetCpuClocks": ("Q", ""), "ippGetCpuFeatures": ("i", "pp"),
    "ippGetNumCoresOnDie": ("i", ""), "ippMalloc": ("p", "i"), "ippFree": ("v", "p"),
    "ippiGetLibVersion": ("L", ""),
    "ippiResize_8u_C1R": ("i", "pSiRpiSddi"), "ippiResize_8u_C3R": ("i", "pSiRpiSddi"),
    "ippiRemap_8u_C1R": ("i", "pSiRpipipiSi"), "ippiRemap_8u_C3R": ("i", "pSiRpipipiSi"),
    "ippiFilter_8u_C3R": ("i", "pipiSpSTi"), "ippiFilter_8u_C1R": ("i", "pipiSpSTi"),
    "ippiFilter32f_8u_C3R": ("i", "pipiSpST"), "ippiFilter32f_8u_C1R": ("i", "pipiSpST"),
    "ippiFilterMedianColor_8u_C3R": ("i", "pipiSi"),
    "ippiFilterBox_8u_C1IR": ("i", "piSST"), "ippiFilterBox_8u_C3IR": ("i", "piSST"),
    "ippiFilterBilateralGetBufSize_8u_C1R": ("i", "iSSp"),
    "ippiFilterBilateralInit_8u_C1R": ("i", "iSffip"),
    "ippiFilterBilateral_8u_C1R": ("i", "pipiSSp"),
    "ippiFilterGauss_8u_C1R": ("i", "pipiSi"), "ippiFilterGauss_8u_C3R": ("i", "pipiSi"),
    "ippiMalloc_8u_C3": ("p", "iip"), "ippiFree": ("v", "p"), "ippsMalloc_8u": ("p", "i"),
    "ippsFree": ("v", "p"),
}
# Same shapes, many names: the plain copies and conversions, the mask filters.
for _n in ("ippiCopy_8u_C3P3R", "ippiCopy_8u_P3C3R", "ippiBGRToHLS_8u_P3R", "ippiHLSToBGR_8u_P3R",
           "ippiRGBToYUV_8u_C3P3R", "ippiYUVToRGB_8u_P3C3R", "ippiRGBToYUV_8u_C3R", "ippiYUVToRGB_8u_C3R",
           *(f"ippi{a}_{t}_C3R" for a in ("RGBToHLS", "HLSToRGB") for t in ("8u", "16u", "16s", "32f"))):
    SIGNATURES[_n] = ("i", "pipiS")
for _n in ("ippiFilterMedian_8u_C1R", "ippiFilterMedian_8u_C3R", "ippiFilterBox_8u_C1R",
           "ippiFilterBox_8u_C3R", "ippiFilterMin_8u_C1R", "ippiFilterMax_8u_C1R"):
    SIGNATURES[_n] = ("i", "pipiSST")

# Status of the image primitives and core services: name, meaning.
STATUS = {
    0: ("ippStsNoErr", "success"),
    1: ("ippStsNoOperation", "nothing to do"),
    20: ("ippStsWrongVendor", "warning: processor of another vendor"),
    29: ("ippStsNoRoiOverlap", "warning: the source region lies outside the source image; nothing written"),
    36: ("ippStsNotSupportedCpu", "processor not supported or not identifiable"),
    37: ("ippStsCacheSizeUnknown", "cache size unknown"),
    -5: ("ippStsBadArgErr", "a sigma or the kernel step is out of range"),
    -6: ("ippStsSizeErr", "a width or height is less than 1 (image too small for the mask?)"),
    -8: ("ippStsNullPtrErr", "a required pointer is null"),
    -9: ("ippStsMemAllocErr", "a work buffer could not be allocated"),
    -14: ("ippStsStepErr", "a row step is too small"),
    -17: ("ippStsContextMatchErr", "the filter record was not prepared by its set-up call"),
    -22: ("ippStsInterpolationErr", "interpolation not accepted here"),
    -23: ("ippStsResizeFactorErr", "a resize factor is zero or negative"),
    -33: ("ippStsMaskSizeErr", "mask size not accepted"),
    -34: ("ippStsAnchorErr", "anchor outside the mask"),
    -51: ("ippStsDivisorErr", "the divisor is zero"),
    -201: ("ippStsResizeNoOperationErr", "the result would be less than half a pixel wide or high"),
    -9999: ("ippStsNotSupportedModeErr", "filter type not supported"),
}
# Results of the scanner filters (Deos*, kernel accessors) below 6.
SCANNER_RESULTS = {
    0: "done", 1: "bad radius, null kernel, bad mode or source equals destination",
    2: "level above 10", 3: "width not a multiple of 4", 4: "mode above 1", 5: "source equals destination",
}


class ModuleError(Exception):
    """A call the module refused: ``function``, ``status``, ``name`` and ``meaning``."""

    def __init__(self, function, status, scanner=False):
        self.function, self.status = function, status
        if scanner and 0 <= status < 6:
            self.name, self.meaning = f"result {status}", SCANNER_RESULTS[status]
        else:
            self.name, self.meaning = STATUS.get(status, (f"status {status}", "unknown"))
        super().__init__(f"{function} failed: {self.name} ({status}): {self.meaning}")


def _candidates(explicit=None):
    if explicit:
        yield explicit
        return
    env = os.environ.get(ENV_VAR)
    if env:
        yield os.path.join(env, MODULE_FILE) if os.path.isdir(env) else env
        return
    yield os.path.join(os.path.dirname(os.path.abspath(__file__)), MODULE_FILE)
    multiarch = sysconfig.get_config_var("MULTIARCH") or ""
    for prefix in dict.fromkeys((sys.prefix, "/usr/local", "/usr")):
        for lib in ("lib", os.path.join("lib", multiarch)):
            yield os.path.join(prefix, lib, "ippiQM300", MODULE_FILE)


def find_module(path=None):
    """The module file to load: ``path`` if given, else ``$IPPIQM300_MODULE``
    (the file or its folder), else one next to this package, else the
    installed one (``<prefix>/lib/ippiQM300/`` or the multiarch folder)."""
    tried = list(_candidates(path))
    for p in tried:
        if os.path.isfile(p):
            return os.path.abspath(p)
    raise FileNotFoundError(f"{MODULE_FILE} not found (tried {', '.join(tried)}); "
                            f"set {ENV_VAR} to the module or its folder")


class Library:
    """The loaded module: functions resolved by name, as the driver does it."""

    def __init__(self, path=None):
        self.path = find_module(path)
        self._dll = ctypes.CDLL(self.path, mode=os.RTLD_NOW | os.RTLD_LOCAL)
        try:
            lookup = self._dll.GetProcAddressForThisDLL
        except AttributeError:
            raise OSError(f"{self.path} is not the image module (no GetProcAddressForThisDLL)") from None
        lookup.restype, lookup.argtypes = c_void_p, [c_void_p, ctypes.c_char_p]
        self._lookup = lookup
        self._functions = {}

    def address(self, name):
        """Address of ``name`` from GetProcAddressForThisDLL, or None."""
        return self._lookup(self._dll._handle, name.encode())

    def function(self, name, restype=None, argtypes=None):
        """The C function ``name`` as a ctypes function.

        Known names get their prototype from the header; give ``restype`` and
        ``argtypes`` (ctypes types) for anything else. Raises AttributeError when
        the module has no such function."""
        key = (name, restype, tuple(argtypes) if argtypes is not None else None)
        fn = self._functions.get(key)
        if fn is None:
            if argtypes is None:
                if name not in SIGNATURES:
                    raise AttributeError(f"no prototype for {name}: pass restype and argtypes")
                ret, args = SIGNATURES[name]
                restype, argtypes = _TYPES[ret], [_TYPES[a] for a in args]
            address = self.address(name)
            if not address:
                raise AttributeError(f"the module has no function {name}")
            fn = ctypes.CFUNCTYPE(restype, *argtypes)(address)
            self._functions[key] = fn
        return fn

    def call(self, name, *args):
        """Calls ``name`` with ``args`` and returns its raw result (no checks).

        Arrays go in as ``arr.ctypes.data``; sizes, points and rects as
        ``Size``, ``Point``, ``Rect`` (or tuples)."""
        fn = self.function(name)
        return fn(*args)

    def check(self, name, *args):
        """Calls an ``ipp*`` primitive; raises ModuleError on a negative status,
        warns on a positive one, returns the status."""
        status = self.call(name, *args)
        if status < 0:
            raise ModuleError(name, status)
        if status > 0:
            import warnings
            warnings.warn(str(ModuleError(name, status)).replace(" failed:", ":"), stacklevel=3)
        return status

    def check_scanner(self, name, *args):
        """Calls a scanner filter; raises ModuleError unless it returns 0."""
        result = self.call(name, *args)
        if result >= 1 << 31:  # a primitive's negative status handed back as Ipp32u
            result -= 1 << 32
        if result != 0:
            raise ModuleError(name, result, scanner=True)
        return result
