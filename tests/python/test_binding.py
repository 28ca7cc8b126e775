"""The Python binding against the qm300 tool's bytes, the header and the module's statuses.

IPPIQM300_MODULE names the module and QM300_TOOL the tool (scripts/test.sh
runs this through ctest, which sets both).
"""
import ctypes
import os
import re
import subprocess
from pathlib import Path

import numpy as np
import pytest

import ippiqm300 as qm

ROOT = Path(__file__).resolve().parents[2]
TOOL = os.path.abspath(os.environ.get("QM300_TOOL", ROOT / "build" / "qm300"))


def page(h=29, w=37, colour=True, seed=1):
    """A page with edges, flat areas and noise; odd sizes exercise the padding."""
    rng = np.random.default_rng(seed)
    y, x = np.mgrid[0:h, 0:w]
    base = ((x // 6 + y // 5) % 2 * 150 + 50).astype(np.int32)
    chans = [base + rng.integers(-30, 30, (h, w)) + 20 * k for k in range(3 if colour else 1)]
    img = np.clip(np.stack(chans, -1), 0, 255).astype(np.uint8)
    return img if colour else img[..., 0]


def write_pnm(path, img):
    path.write_bytes(b"P%d\n%d %d\n255\n" % (6 if img.ndim == 3 else 5, img.shape[1], img.shape[0])
                     + np.ascontiguousarray(img).tobytes())


def read_pnm(path):
    data = path.read_bytes()
    magic, w, h, _ = data.split(maxsplit=4)[:4]
    pixels = np.frombuffer(data[len(data) - int(w) * int(h) * (3 if magic == b"P6" else 1):], np.uint8)
    return pixels.reshape(int(h), int(w), 3) if magic == b"P6" else pixels.reshape(int(h), int(w))


def tool(tmp_path, args, img, files=None):
    for name, text in (files or {}).items():
        (tmp_path / name).write_text(text)
    src, out = tmp_path / ("in.ppm" if img.ndim == 3 else "in.pgm"), tmp_path / "out.pnm"
    write_pnm(src, img)
    subprocess.run([TOOL, "--module", qm.default().path, *args.split(), str(src), str(out)], check=True,
                   cwd=tmp_path, capture_output=True)
    return read_pnm(out)


K3 = np.array([[0, -1, 0], [-1, 5, -1], [0, -1, 0]])
K5 = np.full((5, 5), 1 / 25)
XMAP = np.tile(np.linspace(-2, 38, 23, dtype=np.float32), (17, 1))
YMAP = np.tile(np.linspace(-1, 30, 17, dtype=np.float32)[:, None], (1, 23))
FILES = {"k3": "0 -1 0\n-1 5 -1\n0 -1 0\n", "k5": "\n".join([" ".join(["0.04"] * 5)] * 5),
         "fixed": "\n".join(" ".join(str(v * 65536) for v in r) for r in K3),
         "three": "\n".join(["0 0 0 0 1 0 0 0 0", "0.1 0.1 0.1 0.1 0.2 0.1 0.1 0.1 0.1", "0 0 0 1 0 0 0 0 0"]),
         "xmap": "\n".join(" ".join(repr(float(v)) for v in r) for r in XMAP),
         "ymap": "\n".join(" ".join(repr(float(v)) for v in r) for r in YMAP)}
THREE = np.array([[float(v) for v in r.split()] for r in FILES["three"].split("\n")]).reshape(3, 3, 3)

# (tool arguments, grey page?, the same in Python)
CASES = [
    ("sharpen -r 3 -l 5", False, lambda p: qm.sharpen(p, radius=3, level=5)),
    ("sharpen -r 7 -l 6", False, lambda p: qm.sharpen(p, radius=7, level=6)),
    ("soften -r 2 -l 1", False, lambda p: qm.soften(p, radius=2, level=1)),
    ("sharpen -r 4 -l 3", True, lambda p: qm.sharpen(p, radius=4, level=3)),
    ("sharpen -k k5", False, lambda p: qm.sharpen(p, kernel=K5)),
    ("sharpen -k k3", True, lambda p: qm.sharpen(p, kernel=K3)),
    ("sharpen --fixed-kernel fixed", False, lambda p: qm.sharpen_fixed(p, K3 * 65536)),
    ("sharpen -r 3 -l 5 --direct", False, lambda p: qm.sharpen_fixed(p, radius=3, level=5, direct=True)),
    ("sharpen --kernels3 three", False, lambda p: qm.sharpen_channels(p, THREE)),
    ("denoise -m 2 -l 4", False, lambda p: qm.denoise(p, mode=2, level=4)),
    ("denoise -m 1 -l 7", True, lambda p: qm.denoise(p, mode=1, level=7)),
    ("denoise --per-channel 2:3,0:0,1:9", False, lambda p: qm.denoise(p, per_channel=[(2, 3), (0, 0), (1, 9)])),
    ("denoise --yuv 1:3,2:6", False, lambda p: qm.denoise(p, yuv=((1, 3), (2, 6)))),
    ("denoise --method gauss -r 2", False, lambda p: qm.denoise(p, method="gauss", radius=2)),
    ("denoise --method median -r 1", False, lambda p: qm.denoise(p, method="median", radius=1)),
    ("denoise --method vector-median -r 2", False, lambda p: qm.denoise(p, method="vector-median", radius=2)),
    ("median --mask 5x3 --anchor 1,2", False, lambda p: qm.median(p, (5, 3), anchor=(1, 2))),
    ("median --mask 3x3", True, lambda p: qm.median(p)),
    ("vector-median --mask 5", False, lambda p: qm.vector_median(p, 5)),
    ("gauss --mask 5", True, lambda p: qm.gauss(p, 5)),
    ("gauss --mask 3", False, lambda p: qm.gauss(p, 3)),
    ("box --mask 4x2", False, lambda p: qm.box(p, (4, 2))),
    ("box --mask 3x5 --in-place", True, lambda p: qm.box(p, (3, 5), in_place=True)),
    ("min --mask 3x2 --anchor 0,1", False, lambda p: qm.min_filter(p, (3, 2), anchor=(0, 1))),
    ("max --mask 5x5", True, lambda p: qm.max_filter(p, 5)),
    ("bilateral --kernel 3x5 --value-sigma2 900", False, lambda p: qm.bilateral(p, (3, 5), value_sigma2=900)),
    ("filter -k k3 --divisor 1", False, lambda p: qm.convolve(p, K3, divisor=1)),
    ("filter -k k5 --anchor 1,3", True, lambda p: qm.convolve(p, K5, anchor=(1, 3))),
    ("resize -s 0.5 -i lanczos", False, lambda p: qm.resize(p, scale=0.5, interpolation="lanczos")),
    ("resize --width 50 -i cubic", True, lambda p: qm.resize(p, width=50, interpolation="cubic")),
    ("resize --fx 0.7 --fy 0.4 -i super", False, lambda p: qm.resize(p, fx=0.7, fy=0.4, interpolation="super")),
    ("remap --xmap xmap --ymap ymap -i catmull-rom --fill 7", False,
     lambda p: qm.remap(p, XMAP, YMAP, interpolation="catmull-rom", fill=7)),
    ("convert --to yuv", False, qm.rgb_to_yuv),
    ("convert --to rgb-from-hls", False, qm.hls_to_rgb),
    ("convert --to hls", False, qm.rgb_to_hls),
    ("convert --to rgb-from-yuv", False, qm.yuv_to_rgb),
    ("convert --to rgb-from-hls --planar", False, lambda p: qm.merge(qm.hls_planes_to_bgr(qm.split(p))[::-1])),
    ("convert --to yuv --planar", False, lambda p: np.stack(qm.rgb_to_yuv_planes(p), -1)),
    ("convert --to rgb-from-yuv --planar", False, lambda p: qm.yuv_planes_to_rgb(qm.split(p))),
    ("convert --to hls --planar", False, lambda p: qm.merge(qm.bgr_planes_to_hls(qm.split(p)[::-1]))),
]


@pytest.mark.parametrize("args,grey,fn", CASES, ids=[c[0] for c in CASES])
def test_matches_the_tool_and_any_row_stride(tmp_path, args, grey, fn):
    img = page(colour=not grey)
    expected = tool(tmp_path, args, img, FILES)
    got = fn(img)
    assert got.dtype == np.uint8 and got.shape == expected.shape
    assert np.array_equal(got, expected)
    # The same page as a view into a wider, padded array: only the step differs.
    wide = np.zeros((img.shape[0] + 4, img.shape[1] + 9) + img.shape[2:], np.uint8)
    view = wide[2:-2, 5:-4]
    view[...] = img
    assert np.array_equal(fn(view), expected)
    # Every other pixel of a wider page: no step describes it, so it is copied.
    sparse = np.zeros((img.shape[0], 2 * img.shape[1]) + img.shape[2:], np.uint8)
    sparse[:, ::2] = img
    assert np.array_equal(fn(sparse[:, ::2]), expected)


def test_float32_hls_round_trip_and_dtype_dispatch():
    rgb = np.random.default_rng(3).random((9, 11, 3), dtype=np.float32)
    hls = qm.rgb_to_hls(rgb)
    assert hls.dtype == np.float32 and np.allclose(qm.hls_to_rgb(hls), rgb, atol=1e-5)
    for dtype in (np.uint16, np.int16):
        a = (rgb * 30000).astype(dtype)
        assert qm.rgb_to_hls(a).dtype == dtype
    with pytest.raises(TypeError):
        qm.rgb_to_hls(rgb.astype(np.float64))


@pytest.mark.parametrize("call,function,status,name", [
    (lambda p: qm.sharpen(p, radius=5), "DeosConvRGB", 1, "result 1"),
    (lambda p: qm.denoise(p, mode=1, level=11), "DeosNrRGB", 2, "result 2"),
    (lambda p: qm.denoise(p, mode=3, level=11), "DeosNrRGB", 1, "result 1"),
    (lambda p: qm.sharpen(p, kernel=np.ones((3, 3)), mode=2), "DeosConvRGB2", 4, "result 4"),
    (lambda p: qm.median(p, 4), "ippiFilterMedian_8u_C3R", -33, "ippStsMaskSizeErr"),
    (lambda p: qm.box(p, 3, anchor=(3, 0)), "ippiFilterBox_8u_C3R", -34, "ippStsAnchorErr"),
    (lambda p: qm.bilateral(p[..., 0], type=102), "ippiFilterBilateralGetBufSize_8u_C1R", -9999,
     "ippStsNotSupportedModeErr"),
    (lambda p: qm.denoise(p, method="gauss", radius=20), "GaussNrRGB", -6, "ippStsSizeErr"),
    (lambda p: qm.resize(p, scale=0.01), "ippiResize_8u_C3R", -201,
     "ippStsResizeNoOperationErr"),
])
def test_refusals_raise_with_status_name_and_meaning(call, function, status, name):
    with pytest.raises(qm.ModuleError) as e:
        call(page())
    assert (e.value.function, e.value.status, e.value.name) == (function, status, name)
    assert e.value.meaning and name in str(e.value) and function in str(e.value)


def test_low_level_calls_by_name_and_the_header_prototypes():
    assert qm.call("ippGetCpuType") == qm.cpu_type() and qm.version()["name"] and qm.cores_on_die() >= 1
    assert qm.cpu_features()[0] & 0x4 and qm.cpu_clocks() > 0  # SSE2: every set needs it
    exact = np.array([[0.25, -1, 0], [1.5, 0.5, 2], [0, -0.125, 1]])
    assert np.array_equal(qm.to_fixed(exact), exact * 65536)
    with pytest.raises(AttributeError):
        qm.function("ippiFilterWiener_8u_C1R", ctypes.c_int, [])  # listed without code: null
    # Every function of the header has the binding's prototype.
    letters = {"void": "v", "int": "i", "IppStatus": "i", "Ipp32u": "I", "Ipp64u": "Q", "Ipp32f": "f",
               "double": "d", "IppiSize": "S", "IppiPoint": "T", "IppiRect": "R"}
    text = (ROOT / "include" / "ippiQM300_functions.h").read_text()
    rows = re.findall(r"QM_(?:FIXED|SLOT)\(\d+, \d+, ([^,]+), (\w+),\s*\(([^)]*)\)", text)
    assert len(rows) == len(qm.SIGNATURES)
    for ret, name, params in rows:
        def letter(decl):
            decl = decl.strip()
            if "*" in decl or "[" in decl:
                return "L" if "IppLibraryVersion" in decl else "p"
            return letters[decl.split()[-2] if len(decl.split()) > 1 else decl]
        args = "".join(letter(p) for p in params.split(",") if p.strip() not in ("void", ""))
        assert qm.SIGNATURES[name] == (letter(ret + " r"), args), name


def test_module_found_through_the_environment(monkeypatch, tmp_path):
    path = qm.default().path
    monkeypatch.setenv(qm.ENV_VAR, os.path.dirname(path))
    assert qm.find_module() == os.path.join(os.path.dirname(path), qm.MODULE_FILE)
    monkeypatch.setenv(qm.ENV_VAR, str(tmp_path / "none.so"))
    with pytest.raises(FileNotFoundError, match=qm.ENV_VAR):
        qm.Module()
