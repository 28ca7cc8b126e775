"""The scanner driver's image module (ippiQM300-x64.so) from Python.

Pages are numpy arrays: ``(H, W)`` grey or ``(H, W, 3)`` colour, uint8 (the
HLS conversions also take uint16, int16 and float32). Any row stride is
accepted; a page is copied only when the module needs packed rows (the
scanner filters) or a margin (the neighbourhood filters). Results are new
arrays.

Every function does what the same ``qm300`` command does, byte for byte: the
scanner filters get a width that is a multiple of 4 by repeating the right
edge, and the frame they leave undefined is filled from the source; the
neighbourhood filters see a margin copied from the page's edges, so the
whole page is filtered.

    import ippiqm300 as qm
    clean = qm.denoise(page, mode=2, level=4)
    sharp = qm.sharpen(page, radius=3, level=5)
    half = qm.resize(page, scale=0.5, interpolation="lanczos")

The module is found next to this package, at the installed location or
through ``$IPPIQM300_MODULE``; ``Module(path)`` loads a particular one.
Refused calls raise ``ModuleError`` with the status name and meaning.
``call(name, *args)`` and ``function(name)`` reach any function by name.
"""
import ctypes
import functools

import numpy as np

from ._module import (ENV_VAR, MODULE_FILE, SIGNATURES, STATUS, Library, LibraryVersion, ModuleError,
                      NrImageRecord, Point, Rect, Size, find_module)

__version__ = "1.0.0"

_INTERPOLATION = {"nearest": 1, "nn": 1, "linear": 2, "cubic": 4, "catmull-rom": 6, "super": 8,
                  "supersampling": 8, "lanczos": 16}
SMOOTH_EDGE = -0x80000000


# ---- page helpers -------------------------------------------------------------

def _page(img, what="page", colour=None):
    """The page as uint8 with contiguous pixels in each row (copied only if not)."""
    a = np.asarray(img)
    if a.dtype != np.uint8:
        raise TypeError(f"{what} must be uint8, not {a.dtype}")
    if not (a.ndim == 2 or (a.ndim == 3 and a.shape[2] == 3)):
        raise ValueError(f"{what} must be (H, W) grey or (H, W, 3) colour, not {a.shape}")
    if a.shape[0] < 1 or a.shape[1] < 1:
        raise ValueError(f"{what} is empty: {a.shape}")
    if colour is True and a.ndim != 3:
        raise ValueError(f"{what}: this works on colour pages; this page is grey")
    return _rows(a)


def _rows(a):
    """``a`` with contiguous pixels and a positive row stride: the layout a step can describe."""
    pixel = a.itemsize * (a.shape[2] if a.ndim == 3 else 1)
    if (a.ndim == 2 or a.strides[2] == a.itemsize) and a.strides[1] == pixel \
            and a.strides[0] >= a.shape[1] * pixel:
        return a
    return np.ascontiguousarray(a)


def _packed(a):
    """Rows back to back, as the scanner filters read them."""
    return np.ascontiguousarray(a)


def _ptr(a):
    return a.ctypes.data


def _size(a):
    return Size(a.shape[1], a.shape[0])


def _channels(a):
    return 3 if a.ndim == 3 else 1


def _pad(a, left, top, right, bottom):
    """Margin made by repeating the outermost rows and columns."""
    widths = ((top, bottom), (left, right)) + (((0, 0),) if a.ndim == 3 else ())
    return np.pad(a, widths, mode="edge")


def _frame_from_source(src, filtered, frame):
    """The filtered interior inside a copy of the source (frame from the source)."""
    out = np.array(src, order="C", copy=True)
    h, w = src.shape[:2]
    if h > 2 * frame and w > 2 * frame:
        out[frame:h - frame, frame:w - frame] = filtered[frame:h - frame, frame:w - frame]
    return out


def _mask(mask):
    w, h = (mask, mask) if np.isscalar(mask) else mask
    if w < 1 or h < 1:
        raise ValueError(f"mask size {mask}: use positive numbers")
    return int(w), int(h)


def _anchor(anchor, mask):
    return (mask[0] // 2, mask[1] // 2) if anchor is None else (int(anchor[0]), int(anchor[1]))


def _setting(*values):
    for v in values:
        if v < 0:
            raise ValueError("negative modes and levels are not accepted")
    return values


def _odd_square(kernel, dtype, what="kernel"):
    k = np.ascontiguousarray(kernel, dtype=dtype)
    if k.ndim != 2 or k.shape[0] != k.shape[1] or k.shape[0] % 2 == 0:
        raise ValueError(f"{what}: an n x n kernel with n odd is needed, not {k.shape}")
    return k, k.shape[0] // 2


def _whole(kernel, what):
    k = np.asarray(kernel, dtype=np.float64)
    if not np.all(np.isfinite(k)) or np.any(k != np.floor(k)) or np.any(np.abs(k) > 2147483647):
        raise ValueError(f"{what} needs whole numbers")
    return k.astype(np.int32)


class Module:
    """One loaded module with the page-level API (the package's functions use a default one)."""

    def __init__(self, path=None):
        self.lib = Library(path)
        self.path = self.lib.path

    # ---- low level ------------------------------------------------------------

    def function(self, name, restype=None, argtypes=None):
        """The C function ``name`` as a ctypes function (see ``Library.function``)."""
        return self.lib.function(name, restype, argtypes)

    def call(self, name, *args):
        """Calls the C function ``name`` with ``args`` and returns its raw result."""
        return self.lib.call(name, *args)

    # ---- scanner filters ------------------------------------------------------

    def _scanner(self, img, frame, run):
        # Width to a multiple of 4 by repeating the right edge, run, cut back,
        # and take the frame the filter leaves undefined from the source.
        pad_right = -img.shape[1] % 4
        src = _packed(_pad(img, 0, 0, pad_right, 0) if pad_right else img)
        dst = np.zeros_like(src)
        run(src, dst)
        return _frame_from_source(img, dst[:, :img.shape[1]], frame)

    def sharpen(self, img, radius=2, level=4, mode=0, kernel=None):
        """Scanner sharpening with a square kernel (``qm300 sharpen``).

        ``radius`` 2, 3, 4 or 7 picks a built-in table (0 and 1 copy colour
        pages), ``level`` 0..6 its kernel (0-1 soften, 2-6 sharpen; 15 and up
        count in steps of 5). ``kernel``: your own n x n float kernel instead.
        Colour pages: DeosConvRGB / DeosConvRGB2; grey: DeosConvMonoInFilterCoef."""
        img = _page(img)
        if img.ndim == 2:
            return self._conv_grey(img, radius, level, mode, kernel)
        if kernel is not None:
            k, r = _odd_square(kernel, np.float32)
            return self._scanner(img, r, lambda s, d: self.lib.check_scanner(
                "DeosConvRGB2", _ptr(s), _ptr(d), s.shape[1], s.shape[0], mode, r, level, _ptr(k)))
        return self._scanner(img, radius, lambda s, d: self.lib.check_scanner(
            "DeosConvRGB", _ptr(s), _ptr(d), s.shape[1], s.shape[0], mode, radius, level))

    def soften(self, img, radius=2, level=0, mode=0, kernel=None):
        """Scanner softening (``qm300 soften``): ``sharpen`` with a softening level."""
        return self.sharpen(img, radius, level, mode, kernel)

    def _conv_grey(self, img, radius, level, mode, kernel):
        if kernel is not None:
            k, r = _odd_square(kernel, np.float32)
        else:
            if radius not in (2, 3, 4, 7):
                raise ValueError("built-in kernels have radius 2, 3, 4 or 7")
            k, r = self.kernel_weights(radius, level, mode), radius
        src, dst = _packed(img), np.zeros_like(img, order="C")
        self.lib.check_scanner("DeosConvMonoInFilterCoef", _ptr(src), _ptr(dst), src.shape[1], src.shape[0],
                               r, _ptr(k))
        return _frame_from_source(img, dst, r)

    def sharpen_channels(self, img, kernels):
        """Scanner convolution with one n x n float kernel per channel,
        ``kernels`` shaped (3, n, n) (DeosConvRgbInFilterCoef, ``--kernels3``)."""
        img = _page(img, colour=True)
        k = np.ascontiguousarray(kernels, dtype=np.float32)
        if k.ndim != 3 or k.shape[0] != 3:
            raise ValueError(f"kernels: three n x n kernels are needed, not {k.shape}")
        _, r = _odd_square(k[0], np.float32)
        return self._scanner(img, r, lambda s, d: self.lib.check_scanner(
            "DeosConvRgbInFilterCoef", _ptr(s), _ptr(d), s.shape[1], s.shape[0], r, _ptr(k)))

    def sharpen_fixed(self, img, kernel=None, radius=2, level=4, mode=0, direct=False):
        """Scanner convolution in 16.16 fixed point (DeosConvRGB3, ``--fixed-kernel``);
        ``kernel`` n x n whole numbers, default the built-in one of ``radius`` and
        ``level``. ``direct=True`` runs the direct loop (DeosConvRGB4) through a
        clamping output table, as ``--direct`` does."""
        img = _page(img, colour=True)
        if kernel is not None:
            k, r = _odd_square(_whole(kernel, "a 16.16 kernel"), np.int32)
        else:
            k, r = self.fixed_kernel(radius, level, mode), radius
        if not direct:
            return self._scanner(img, r, lambda s, d: self.lib.check_scanner(
                "DeosConvRGB3", _ptr(s), _ptr(d), s.shape[1], s.shape[0], mode, r, level, _ptr(k)))
        # The direct loop indexes the table with the raw sum >> 16: make it wide
        # enough for any sum of these weights, clamped to 0..255.
        w = k.astype(np.int64).ravel() * 255
        lo, hi = int(w[w < 0].sum()) >> 16, int(w[w > 0].sum()) >> 16
        if hi - lo > 1 << 26:
            raise ValueError("kernel weights too large for the direct loop")
        table = np.clip(np.arange(lo, hi + 1), 0, 255).astype(np.uint8)
        return self._scanner(img, r, lambda s, d: self.lib.check_scanner(
            "DeosConvRGB4", _ptr(s), _ptr(d), s.shape[1], s.shape[0], mode, r, level, _ptr(k),
            _ptr(table) - lo))

    def denoise(self, img, mode=1, level=3, per_channel=None, yuv=None, method="bilateral", radius=1):
        """Scanner noise reduction (``qm300 denoise``).

        Bilateral (default): ``mode`` 2 = 5x5 kernel, otherwise 3x3; ``level``
        0..10 (DeosNrRGB; grey pages DeosNrMono). ``per_channel=[(m0, l0), (m1, l1),
        (m2, l2)]`` sets each channel (DeosNrIndividualRGB, mode 0 copies);
        ``yuv=((mY, lY), (mUV, lUV))`` filters in YUV (DeosNrYUV).
        ``method="gauss" | "median" | "vector-median"`` with ``radius`` runs the
        wrapper filters GaussNrRGB, MedianNrRGB, MedianColorNrRGB instead."""
        img = _page(img)
        if method != "bilateral":
            return self._wrapper_nr(img, method, radius)
        _setting(mode, level)
        if img.ndim == 2:
            src = _packed(img)
            dst = src.copy()  # the frame keeps what dst held: the source
            self.lib.check_scanner("DeosNrMono", _ptr(src), _ptr(dst), src.shape[1], src.shape[0], mode, level)
            return dst
        if per_channel is not None:
            v = [int(x) for pair in per_channel for x in pair]
            if len(v) != 6:
                raise ValueError("per_channel needs three (mode, level) pairs")
            _setting(*v)
            frame = 2 if max(v[0], v[2], v[4]) == 2 else 1
            return self._scanner(img, frame, lambda s, d: self.lib.check_scanner(
                "DeosNrIndividualRGB", _ptr(s), _ptr(d), s.shape[1], s.shape[0], *v))
        if yuv is not None:
            v = [int(x) for pair in yuv for x in pair]
            if len(v) != 4:
                raise ValueError("yuv needs two (mode, level) pairs: luma, chroma")
            _setting(*v)
            frame = 2 if max(v[0], v[2]) == 2 else 1
            return self._scanner(img, frame, lambda s, d: self.lib.check_scanner(
                "DeosNrYUV", _ptr(s), _ptr(d), s.shape[1], s.shape[0], *v))
        frame = 2 if mode == 2 else 1
        return self._scanner(img, frame, lambda s, d: self.lib.check_scanner(
            "DeosNrRGB", _ptr(s), _ptr(d), s.shape[1], s.shape[0], mode, level))

    def _wrapper_nr(self, img, method, radius):
        names = {"gauss": "GaussNrRGB", "median": "MedianNrRGB", "vector-median": "MedianColorNrRGB"}
        if method not in names:
            raise ValueError(f"unknown method {method}: bilateral, gauss, median or vector-median")
        if img.ndim != 3:
            raise ValueError("this noise reduction works on colour pages; this page is grey")
        if radius < 1:
            raise ValueError("radius must be at least 1")
        src = _packed(img)
        dst = np.zeros_like(src)
        h, w = src.shape[:2]
        s, d = NrImageRecord(_ptr(src), None, w, h), NrImageRecord(_ptr(dst), None, w, h)
        self.lib.check(names[method], ctypes_ref(s), ctypes_ref(d), radius)
        return _frame_from_source(img, dst, radius)

    def kernel_weights(self, radius, level, mode=0):
        """The built-in float kernel of ``radius`` and ``level`` (GetDeosConvKernelValue), (n, n)."""
        n = 2 * radius + 1
        out = np.zeros((n, n), np.float32)
        self.lib.check_scanner("GetDeosConvKernelValue", mode, radius, level, _ptr(out))
        return out

    def fixed_kernel(self, radius, level, mode=0):
        """The built-in kernel in 16.16 fixed point (SetDeosConvKernelValue), int32 (n, n)."""
        n = 2 * radius + 1
        out = np.zeros((n, n), np.int32)
        self.lib.check_scanner("SetDeosConvKernelValue", mode, radius, level, _ptr(out))
        return out

    def to_fixed(self, kernel):
        """A float n x n kernel in 16.16 fixed point (SetDeosConvKernelUserValue)."""
        k, r = _odd_square(kernel, np.float32)
        out = np.zeros(k.shape, np.int32)
        self.lib.check_scanner("SetDeosConvKernelUserValue", _ptr(k), r, _ptr(out))
        return out

    # ---- neighbourhood primitives ---------------------------------------------

    def _neighbourhood(self, img, mask, anchor, name, *extra, left=None, top=None):
        # Margin from the page's edges so every neighbourhood reads real pixels;
        # anchors outside the mask are the module's to refuse.
        if left is None:
            left = min(max(anchor[0], 0), mask[0] - 1)
            top = min(max(anchor[1], 0), mask[1] - 1)
        src = _pad(img, left, top, mask[0] - 1 - left, mask[1] - 1 - top)
        dst = np.empty_like(img, order="C")
        origin = _ptr(src) + top * src.strides[0] + left * src.strides[1]
        self.lib.check(name, origin, src.strides[0], _ptr(dst), dst.strides[0], _size(img), *extra)
        return dst

    def _planewise(self, img, op):
        return np.stack([op(np.ascontiguousarray(img[..., k])) for k in range(3)], axis=-1)

    def median(self, img, mask=3, anchor=None):
        """Median of each channel over a ``mask`` (int or (w, h), odd) at ``anchor``
        (default the centre) (``qm300 median``)."""
        img, m = _page(img), _mask(mask)
        a = _anchor(anchor, m)
        name = "ippiFilterMedian_8u_C3R" if img.ndim == 3 else "ippiFilterMedian_8u_C1R"
        return self._neighbourhood(img, m, a, name, Size(*m), Point(*a))

    def vector_median(self, img, mask=3):
        """Vector median of a colour page over a 3x3 or 5x5 mask (``qm300 vector-median``)."""
        img = _page(img, colour=True)
        code = {3: 33, 5: 55}.get(mask, mask)
        return self._neighbourhood(img, (mask, mask), (mask // 2, mask // 2),
                                   "ippiFilterMedianColor_8u_C3R", code)

    def gauss(self, img, mask=3):
        """Gaussian smoothing with the fixed 3x3 or 5x5 mask (``qm300 gauss``)."""
        img = _page(img)
        code = {3: 33, 5: 55}.get(mask, mask)
        side = 5 if mask == 5 else 3
        name = "ippiFilterGauss_8u_C3R" if img.ndim == 3 else "ippiFilterGauss_8u_C1R"
        return self._neighbourhood(img, (side, side), (side // 2, side // 2), name, code)

    def box(self, img, mask=3, anchor=None, in_place=False):
        """Mean over a ``mask`` (int or (w, h)) at ``anchor`` (``qm300 box``);
        ``in_place=True`` uses the in-place form on a padded copy."""
        img, m = _page(img), _mask(mask)
        a = _anchor(anchor, m)
        c3 = img.ndim == 3
        if not in_place:
            return self._neighbourhood(img, m, a, "ippiFilterBox_8u_C3R" if c3 else "ippiFilterBox_8u_C1R",
                                       Size(*m), Point(*a))
        left, top = min(max(a[0], 0), m[0] - 1), min(max(a[1], 0), m[1] - 1)
        work = _pad(img, left, top, m[0] - 1 - left, m[1] - 1 - top)
        origin = _ptr(work) + top * work.strides[0] + left * work.strides[1]
        self.lib.check("ippiFilterBox_8u_C3IR" if c3 else "ippiFilterBox_8u_C1IR", origin, work.strides[0],
                       _size(img), Size(*m), Point(*a))
        return np.ascontiguousarray(work[top:top + img.shape[0], left:left + img.shape[1]])

    def _minmax(self, name, img, mask, anchor):
        img, m = _page(img), _mask(mask)
        a = _anchor(anchor, m)
        if img.ndim == 3:  # one-channel primitives: plane by plane
            return self._planewise(img, lambda p: self._minmax(name, p, m, a))
        return self._neighbourhood(img, m, a, name, Size(*m), Point(*a))

    def min_filter(self, img, mask=3, anchor=None):
        """Minimum over a ``mask`` (erosion; colour pages per channel) (``qm300 min``)."""
        return self._minmax("ippiFilterMin_8u_C1R", img, mask, anchor)

    def max_filter(self, img, mask=3, anchor=None):
        """Maximum over a ``mask`` (dilation; colour pages per channel) (``qm300 max``)."""
        return self._minmax("ippiFilterMax_8u_C1R", img, mask, anchor)

    def bilateral(self, img, kernel=5, value_sigma2=400.0, position_sigma2=400.0, step=1, type=100):
        """Edge-preserving bilateral smoothing (colour pages per channel) (``qm300 bilateral``):
        ``kernel`` int or (w, h), squared sigmas, every ``step``-th tap, ``type`` 100 or 101."""
        img, k = _page(img), _mask(kernel)
        if img.ndim == 3:
            return self._planewise(img, lambda p: self.bilateral(p, k, value_sigma2, position_sigma2, step, type))
        size = ctypes_int()
        self.lib.check("ippiFilterBilateralGetBufSize_8u_C1R", type, _size(img), Size(*k), ctypes_ref(size))
        buffer = np.zeros(max(size.value, 1), np.uint8)
        self.lib.check("ippiFilterBilateralInit_8u_C1R", type, Size(*k), value_sigma2, position_sigma2, step,
                       _ptr(buffer))
        return self._neighbourhood(img, k, (k[0] // 2, k[1] // 2), "ippiFilterBilateral_8u_C1R", Size(*k),
                                   _ptr(buffer))

    def convolve(self, img, kernel, divisor=None, anchor=None):
        """Linear filter, a true convolution (``qm300 filter``): a float ``kernel``
        (rows top to bottom), or whole numbers divided by ``divisor``."""
        img = _page(img)
        k = np.asarray(kernel, dtype=np.float64)
        if k.ndim != 2 or k.size == 0:
            raise ValueError(f"kernel must be a 2-D array, not {k.shape}")
        m = (k.shape[1], k.shape[0])
        a = _anchor(anchor, m)
        # The primitives convolve: the window reaches anchor - (size - 1) back.
        left, top = min(max(m[0] - 1 - a[0], 0), m[0] - 1), min(max(m[1] - 1 - a[1], 0), m[1] - 1)
        c = "C3R" if img.ndim == 3 else "C1R"
        if divisor:
            w = _whole(k, "an integer kernel (with a divisor)")
            return self._neighbourhood(img, m, a, f"ippiFilter_8u_{c}", _ptr(w), Size(*m), Point(*a), divisor,
                                       left=left, top=top)
        w = np.ascontiguousarray(k, dtype=np.float32)
        return self._neighbourhood(img, m, a, f"ippiFilter32f_8u_{c}", _ptr(w), Size(*m), Point(*a),
                                   left=left, top=top)

    # ---- geometry -------------------------------------------------------------

    def resize(self, img, scale=None, fx=None, fy=None, width=None, height=None, interpolation="linear"):
        """Scales the page (``qm300 resize``): ``scale`` for both directions, or
        ``fx``/``fy``, or a target ``width``/``height``; ``interpolation`` nearest,
        linear, cubic, lanczos or super (reduction only)."""
        img = _page(img)
        h0, w0 = img.shape[:2]
        x, y, width, height = fx or 0, fy or 0, width or 0, height or 0
        if (scale or 0) > 0:
            x = y = scale
        if width > 0:
            x = width / w0
        if height > 0:
            y = height / h0
        if x <= 0 < y:
            x = y
        if y <= 0 < x:
            y = x
        if x <= 0 or y <= 0:
            raise ValueError("give scale, fx/fy or width/height")
        w = width if width > 0 else max(1, int(w0 * x + 1e-7))
        h = height if height > 0 else max(1, int(h0 * y + 1e-7))
        if w * h * _channels(img) > 1 << 30:
            raise ValueError("the resized page would be too large")
        out = np.empty((h, w) + img.shape[2:], np.uint8)
        self.lib.check("ippiResize_8u_C3R" if img.ndim == 3 else "ippiResize_8u_C1R", _ptr(img), _size(img),
                       img.strides[0], Rect(0, 0, w0, h0), _ptr(out), out.strides[0], Size(w, h), x, y,
                       _interpolation(interpolation))
        return out

    def remap(self, img, xmap, ymap, interpolation="linear", smooth_edge=False, fill=255):
        """Geometric correction (``qm300 remap``): output pixel (r, c) comes from
        source position (``xmap[r, c]``, ``ymap[r, c]``); positions outside the
        page keep ``fill``. ``interpolation`` also takes catmull-rom."""
        img = _page(img)
        mx, my = (_rows(np.asarray(m, dtype=np.float32)) for m in (xmap, ymap))
        if mx.ndim != 2 or mx.shape != my.shape:
            raise ValueError("the x and y maps must be 2-D and of one shape")
        h, w = mx.shape
        out = np.full((h, w) + img.shape[2:], min(max(fill, 0), 255), np.uint8)
        code = _interpolation(interpolation) | (SMOOTH_EDGE if smooth_edge else 0)
        self.lib.check("ippiRemap_8u_C3R" if img.ndim == 3 else "ippiRemap_8u_C1R", _ptr(img), _size(img),
                       img.strides[0], Rect(0, 0, img.shape[1], img.shape[0]), _ptr(mx), mx.strides[0],
                       _ptr(my), my.strides[0], _ptr(out), out.strides[0], Size(w, h), code)
        return out

    # ---- colour and layout ----------------------------------------------------

    def _convert(self, name, img, dtypes=(np.uint8,)):
        a = np.asarray(img)
        if a.dtype not in dtypes or a.ndim != 3 or a.shape[2] != 3:
            raise TypeError(f"{name} takes (H, W, 3) arrays of {', '.join(np.dtype(d).name for d in dtypes)}")
        a = _rows(a)
        out = np.empty(a.shape, a.dtype)
        self.lib.check(name, _ptr(a), a.strides[0], _ptr(out), out.strides[0], _size(a))
        return out

    def rgb_to_yuv(self, img):
        """RGB to YUV, interleaved (ippiRGBToYUV_8u_C3R; ``convert --to yuv``)."""
        return self._convert("ippiRGBToYUV_8u_C3R", img)

    def yuv_to_rgb(self, img):
        """YUV to RGB, interleaved (ippiYUVToRGB_8u_C3R)."""
        return self._convert("ippiYUVToRGB_8u_C3R", img)

    def rgb_to_hls(self, img):
        """RGB to HLS: uint8, uint16, int16 or float32 (values 0..1) pages."""
        a = np.asarray(img)
        return self._convert(f"ippiRGBToHLS_{_suffix(a)}_C3R", a, tuple(_SUFFIX))

    def hls_to_rgb(self, img):
        """HLS to RGB: uint8, uint16, int16 or float32 pages."""
        a = np.asarray(img)
        return self._convert(f"ippiHLSToRGB_{_suffix(a)}_C3R", a, tuple(_SUFFIX))

    def _planes(self, planes):
        ps = [_page(p, "plane") for p in planes]
        if len(ps) != 3 or any(p.ndim != 2 or p.shape != ps[0].shape for p in ps):
            raise ValueError("three grey planes of one size are needed")
        if len({p.strides[0] for p in ps}) != 1:  # the planes share one step
            ps = [np.ascontiguousarray(p) for p in ps]
        return ps, (c_void_p3)(*[_ptr(p) for p in ps])

    def _to_planes(self, name, img):
        img = _page(img, colour=True)
        out = [np.empty(img.shape[:2], np.uint8) for _ in range(3)]
        self.lib.check(name, _ptr(img), img.strides[0], c_void_p3(*[_ptr(p) for p in out]), out[0].strides[0],
                       _size(img))
        return tuple(out)

    def _from_planes(self, name, planes):
        ps, ptrs = self._planes(planes)
        out = np.empty(ps[0].shape + (3,), np.uint8)
        self.lib.check(name, ptrs, ps[0].strides[0], _ptr(out), out.strides[0], _size(ps[0]))
        return out

    def split(self, img):
        """Three planes from a colour page (ippiCopy_8u_C3P3R)."""
        return self._to_planes("ippiCopy_8u_C3P3R", img)

    def merge(self, planes):
        """A colour page from three planes (ippiCopy_8u_P3C3R)."""
        return self._from_planes("ippiCopy_8u_P3C3R", planes)

    def rgb_to_yuv_planes(self, img):
        """RGB page to Y, U, V planes (ippiRGBToYUV_8u_C3P3R)."""
        return self._to_planes("ippiRGBToYUV_8u_C3P3R", img)

    def yuv_planes_to_rgb(self, planes):
        """Y, U, V planes to an RGB page (ippiYUVToRGB_8u_P3C3R)."""
        return self._from_planes("ippiYUVToRGB_8u_P3C3R", planes)

    def bgr_planes_to_hls(self, planes):
        """B, G, R planes to H, L, S planes (ippiBGRToHLS_8u_P3R)."""
        ps, ptrs = self._planes(planes)
        out = [np.empty(ps[0].shape, np.uint8) for _ in range(3)]
        self.lib.check("ippiBGRToHLS_8u_P3R", ptrs, ps[0].strides[0], c_void_p3(*[_ptr(p) for p in out]),
                       out[0].strides[0], _size(ps[0]))
        return tuple(out)

    def hls_planes_to_bgr(self, planes):
        """H, L, S planes to B, G, R planes (ippiHLSToBGR_8u_P3R)."""
        ps, ptrs = self._planes(planes)
        out = [np.empty(ps[0].shape, np.uint8) for _ in range(3)]
        self.lib.check("ippiHLSToBGR_8u_P3R", ptrs, ps[0].strides[0], c_void_p3(*[_ptr(p) for p in out]),
                       out[0].strides[0], _size(ps[0]))
        return tuple(out)

    # ---- processor and versions -----------------------------------------------

    def cpu_type(self):
        """Processor class (0x41 SSE2 ... 0x46 AVX) (ippGetCpuType)."""
        return self.call("ippGetCpuType")

    def cpu_features(self):
        """(feature mask, the four identification registers) (ippGetCpuFeatures)."""
        mask, regs = np.zeros(1, np.uint64), np.zeros(4, np.uint32)
        self.lib.check("ippGetCpuFeatures", _ptr(mask), _ptr(regs))
        return int(mask[0]), tuple(int(r) for r in regs)

    def cpu_clocks(self):
        """The processor's time-stamp counter (ippGetCpuClocks)."""
        return self.call("ippGetCpuClocks")

    def cores_on_die(self):
        """Cores on the processor die (ippGetNumCoresOnDie)."""
        return self.call("ippGetNumCoresOnDie")

    def version(self, image=True):
        """The version record of the chosen image set (or, ``image=False``, of the core) as a dict."""
        v = self.call("ippiGetLibVersion" if image else "ippGetLibVersion").contents
        return {"major": v.major, "minor": v.minor, "majorBuild": v.majorBuild, "build": v.build,
                "targetCpu": bytes(v.targetCpu).rstrip(b"\0").decode(), "name": v.Name.decode(),
                "version": v.Version.decode(), "buildDate": v.BuildDate.decode()}


c_void_p3 = ctypes.c_void_p * 3
ctypes_ref = ctypes.byref
ctypes_int = ctypes.c_int
_SUFFIX = {np.dtype(np.uint8): "8u", np.dtype(np.uint16): "16u", np.dtype(np.int16): "16s",
           np.dtype(np.float32): "32f"}


def _suffix(a):
    if a.dtype not in _SUFFIX:
        raise TypeError(f"HLS conversions take uint8, uint16, int16 or float32 pages, not {a.dtype}")
    return _SUFFIX[a.dtype]


def _interpolation(name):
    if name not in _INTERPOLATION:
        raise ValueError(f"unknown interpolation {name}: {', '.join(_INTERPOLATION)}")
    return _INTERPOLATION[name]


# ---- the package-level functions: a default module, loaded on first use ------

_default = None


def default():
    """The module the package-level functions use (found on first use)."""
    global _default
    if _default is None:
        _default = Module()
    return _default


def _forward(name):
    method = getattr(Module, name)

    @functools.wraps(method)
    def call(*args, **kwargs):
        return getattr(default(), name)(*args, **kwargs)
    return call


_PUBLIC = [n for n, v in vars(Module).items() if callable(v) and not n.startswith("_")]
for _name in _PUBLIC:
    globals()[_name] = _forward(_name)

__all__ = ["Module", "ModuleError", "Library", "find_module", "default", "Size", "Point", "Rect",
           "NrImageRecord", "LibraryVersion", "SIGNATURES", "STATUS", "ENV_VAR", "MODULE_FILE", *_PUBLIC]
