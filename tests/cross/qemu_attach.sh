#!/usr/bin/env bash
# The fixed calls on emulated processors, one for each implementation set:
# the real cpuid and the real attach must choose the set pinned below (image
# and core records, and set slots instead of the exports on an SSE2-only
# processor), and every result must equal the native run's.
#   qemu_attach.sh FIXED_CALLS MODULE WORKDIR
set -uo pipefail
calls=$1 module=$2 work=$3
command -v qemu-x86_64 >/dev/null || { echo "qemu-x86_64 is not installed: skipped"; exit 77; }
mkdir -p "$work"
"$calls" "$module" "$work/native.bin" >/dev/null || exit 1
# model           what the attach prints (qemu 7.2: image set, record, build | core record | lookup)
pinned='
qemu64,-sse3      mx ippimx_l.lib 1054 | core ippcore_l.lib 1049 | set-slots
qemu64            m7 ippim7_l.lib 1080 | core ippcore_l.lib 1049 | exports
Conroe            u8 ippiu8_l.lib 1080 | core ippcore_l.lib 1049 | exports
Conroe,+movbe     n8 ippin8_l.lib 1080 | core ippcore_l.lib 1049 | exports
Penryn            y8 ippiy8_l.lib 1080 | core ippcore_l.lib 1049 | exports
Nehalem           y8 ippiy8_l.lib+ 1080 | core ippcore_l.lib 1049 | exports
SandyBridge       e9 ippie9_l.lib 1080 | core ippcore_l.lib 1049 | exports
Haswell           e9 ippie9_l.lib 1080 | core ippcore_l.lib 1049 | exports
EPYC              e9 ippie9_l.lib 1080 | core ippcore_l.lib 1049 | exports
'
fail=0
while read -r model want; do
    [ -n "$model" ] || continue
    # (qemu warns on stderr about features its emulation lacks)
    got=$(qemu-x86_64 -cpu "$model" "$calls" "$module" "$work/$model.bin" 2>/dev/null)
    if [ "$got" != "$want" ]; then
        echo "$model: the attach chose '$got', expected '$want'"
        fail=1
    elif ! same=$("$calls" --compare "$work/native.bin" "$work/$model.bin"); then
        echo "$model: results differ from the native run:"; echo "$same"
        fail=1
    else
        echo "$model: $got; results as native"
    fi
done <<<"$pinned"
exit $fail
