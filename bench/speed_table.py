#!/usr/bin/env python3
"""Turns one qm_bench JSON run into the README's speed table.

  build/qm_bench --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
      --benchmark_out=run.json --benchmark_out_format=json
  python3 bench/speed_table.py run.json            # markdown table, ours / peer
  python3 bench/speed_table.py before.json after.json   # every benchmark, before / after

Times are the medians of the repetitions (CPU time, ms). Ratios come from the same run, so
they stay meaningful on a shared machine where absolute times drift.
"""
import json
import sys

# (label, our benchmark, peer benchmark, peer function). Join is also set against memcpy.
ROWS = [
    ("channel split (C3 to P3)", "BM_Split", "BM_Split_OpenCV", "`cv::split`"),
    ("channel join (P3 to C3)", "BM_Join", "BM_Join_OpenCV", "`cv::merge`"),
    ("channel join / memcpy of the same bytes", "BM_Join", "BM_Memcpy", "`memcpy`"),
    ("ippiFilter32f_8u_C3R 5x5", "BM_Filter32f_C3/5", "BM_Filter2D_OpenCV/5/3", "`filter2D`"),
    ("ippiFilter32f_8u_C3R 7x7", "BM_Filter32f_C3/7", "BM_Filter2D_OpenCV/7/3", "`filter2D`"),
    ("ippiFilter_8u_C1R 5x5", "BM_Filter_C1", "BM_Filter2D_OpenCV/5/1", "`filter2D`"),
] + [
    (f"median {m}x{m} C{c}", f"BM_Median/ch:{c}/mask:{m}", f"BM_Median_OpenCV/ch:{c}/mask:{m}",
     "`medianBlur`") for m in (3, 5, 7) for c in (1, 3)
] + [
    ("Gauss 3x3 C1", "BM_Gauss/ch:1/code:33", "BM_Gauss_OpenCV/ch:1/code:33", "`GaussianBlur`"),
    ("Gauss 5x5 C3", "BM_Gauss/ch:3/code:55", "BM_Gauss_OpenCV/ch:3/code:55", "`GaussianBlur`"),
    ("box 5x5 C1", "BM_Box5x5_C1", "BM_Box5x5_C1_OpenCV", "`blur`"),
    ("box 3x3 C3", "BM_Box3x3_C3", "BM_Box3x3_C3_OpenCV", "`blur`"),
    ("box 15x15 C1", "BM_Box15x15_C1", "BM_Box15x15_C1_OpenCV", "`blur`"),
    ("min 3x3", "BM_Min3x3", "BM_Min3x3_OpenCV", "`erode`"),
    ("max 7x7", "BM_Max7x7", "BM_Max7x7_OpenCV", "`dilate`"),
    ("bilateral 5x5 C1", "BM_Bilateral5x5", "BM_Bilateral5x5_OpenCV", "`bilateralFilter d=5`"),
    ("RGB to YUV", "BM_RGBToYUV", "BM_RGBToYUV_OpenCV", "`cvtColor`"),
    ("YUV to RGB", "BM_YUVToRGB", "BM_YUVToRGB_OpenCV", "`cvtColor`"),
    ("RGB to HLS 8u", "BM_RGBToHLS_8u", "BM_RGBToHLS_8u_OpenCV", "`cvtColor _FULL`"),
    ("HLS to RGB 8u", "BM_HLSToRGB_8u", "BM_HLSToRGB_8u_OpenCV", "`cvtColor _FULL`"),
    ("RGB to HLS 32f", "BM_RGBToHLS_32f", "BM_RGBToHLS_32f_OpenCV", "`cvtColor`"),
    ("HLS to RGB 32f", "BM_HLSToRGB_32f", "BM_HLSToRGB_32f_OpenCV", "`cvtColor`"),
] + [
    (f"resize x0.5 {name}", f"BM_ResizeHalf/mode:{mode}", f"BM_ResizeHalf_OpenCV/mode:{mode}", peer)
    for name, mode, peer in (("nearest", 1, "`resize`"), ("linear", 2, "`resize`"),
                             ("cubic", 4, "`resize`"), ("supersampling", 8, "`resize INTER_AREA`"),
                             ("Lanczos", 16, "`resize INTER_LANCZOS4`"))
] + [
    ("resize x2 linear (half page)", "BM_ResizeDouble/mode:2", "BM_ResizeDouble_OpenCV/mode:2", "`resize`"),
    ("resize x2 cubic (half page)", "BM_ResizeDouble/mode:4", "BM_ResizeDouble_OpenCV/mode:4", "`resize`"),
    ("remap linear", "BM_Remap/mode:2", "BM_Remap_OpenCV/mode:2", "`remap`"),
    ("remap cubic", "BM_Remap/mode:4", "BM_Remap_OpenCV/mode:4", "`remap`"),
]

SCALE = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}


def medians(path):
    with open(path, encoding="utf-8") as f:
        run = json.load(f)
    # Medians when the run had repetitions, the single measurement otherwise.
    wanted = "aggregate" if any(b.get("run_type") == "aggregate" for b in run["benchmarks"]) else "iteration"
    out = {}
    for b in run["benchmarks"]:
        if b.get("run_type") == wanted and b.get("aggregate_name", "median") == "median":
            out[b["run_name"]] = b["cpu_time"] * SCALE[b["time_unit"]]
    return run.get("context", {}), out


def machine(context):
    model = "unknown processor"
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as f:
            model = next(l.split(":", 1)[1].strip() for l in f if l.startswith("model name"))
    except (OSError, StopIteration):
        pass
    return f"{model}, {context.get('num_cpus', '?')} cores, {context.get('date', '')}"


def peer_table(path):
    context, t = medians(path)
    print(f"Machine: {machine(context)}\n")
    print("| operation (A4 page, 300 dpi) | ours, ms | peer, ms | peer | ours / peer |")
    print("|---|---:|---:|---|---:|")
    for label, ours, peer, name in ROWS:
        if ours in t and peer in t:
            print(f"| {label} | {t[ours]:.3g} | {t[peer]:.3g} | {name} | {t[ours] / t[peer]:.2f} |")
    rest = sorted(k for k in t if "OpenCV" not in k and k not in {r[1] for r in ROWS} | {"BM_Memcpy"})
    if rest:
        print("\n| our benchmark without a peer | ms |\n|---|---:|")
        for k in rest:
            print(f"| {k} | {t[k]:.3g} |")


def before_after(before, after):
    _, a = medians(before)
    _, b = medians(after)
    print("| benchmark | before, ms | after, ms | after / before |\n|---|---:|---:|---:|")
    for k in a:
        if k in b:
            print(f"| {k} | {a[k]:.3g} | {b[k]:.3g} | {b[k] / a[k]:.2f} |")


if __name__ == "__main__":
    if len(sys.argv) == 2:
        peer_table(sys.argv[1])
    elif len(sys.argv) == 3:
        before_after(sys.argv[1], sys.argv[2])
    else:
        sys.exit(__doc__)
