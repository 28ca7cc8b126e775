// The tool's image readers on hostile bytes, every format decoded from
// memory. The first byte picks either the raw bytes or a small valid file of
// one format (made here, once) that the rest of the input then damages, so
// a short run already reaches deep into each decoder. A decode either gives
// a page of exactly its stated size within the budget, which encodes again,
// or a ToolError; anything else is a finding.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "image.h"
#include "module.h"

namespace {

constexpr uint64_t kBudget = 1 << 18;

qm300::Image sample(int w, int h, int c) {
    qm300::Image im(w, h, c);
    for (size_t i = 0; i < im.pixels.size(); ++i) im.pixels[i] = uint8_t(i * 37 + i / 7);
    im.info.xdpi = 300, im.info.ydpi = 150;
    return im;
}

const std::vector<std::vector<uint8_t>>& valid_files() {
    static const std::vector<std::vector<uint8_t>> files = [] {
        std::vector<std::vector<uint8_t>> f;
        for (const char* kind : {".png", ".jpg", ".tif", ".pnm"})
            for (int c : {1, 3}) f.push_back(qm300::encode_image(sample(13, 7, c), kind));
        return f;
    }();
    return files;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const auto& files = valid_files();
    const size_t pick = data[0] % (files.size() + 1);
    const int page = (data[0] >> 7) & 1;
    std::vector<uint8_t> bytes(data + 1, data + size);
    if (pick > 0) {
        // Pairs of (position, xor) damage the valid file; a leading 0xFF pair truncates it.
        bytes = files[pick - 1];
        for (size_t i = 1; i + 2 < size; i += 3) {
            const size_t at = (size_t(data[i]) << 8 | data[i + 1]) % bytes.size();
            if (data[i + 2] == 0xFF && i == 1) bytes.resize(at + 1);
            else bytes[at] ^= data[i + 2];
        }
    }
    try {
        const qm300::Image im = qm300::decode_image(bytes.data(), bytes.size(), page, kBudget);
        if (im.width < 1 || im.height < 1 || (im.channels != 1 && im.channels != 3) ||
            uint64_t(im.width) * uint64_t(im.height) > kBudget ||
            im.pixels.size() != size_t(im.width) * im.height * im.channels)
            std::abort();
        for (const char* kind : {".png", ".jpg", ".tif", ".pnm"}) qm300::encode_image(im, kind);
    } catch (const qm300::ToolError&) {
    }
    return 0;
}
