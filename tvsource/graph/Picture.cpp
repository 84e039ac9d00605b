#include "tvsource/graph/Picture.h"

#include "baseclasses/MediaTypeCopies.h"

#include <amvideo.h>
#include <uuids.h>

#include <algorithm>
#include <cstring>

namespace tvsource {

namespace {

constexpr LONG kLongestSide = 0x8000;

bool IsSide(LONG points) noexcept {
    return points > 0 && points <= kLongestSide;
}

std::optional<BITMAPINFOHEADER> HeaderOf(const AM_MEDIA_TYPE& type) {
    const std::span<const BYTE> block = FormatBlock(type);
    if (type.formattype != FORMAT_VideoInfo || block.size() < sizeof(VIDEOINFOHEADER))
        return std::nullopt;
    VIDEOINFOHEADER header;
    std::memcpy(&header, block.data(), sizeof header);
    const BITMAPINFOHEADER& info = header.bmiHeader;
    const bool isPlain = info.biCompression == BI_RGB && (info.biBitCount == 24 || info.biBitCount == 32);
    // The height is below zero where the top row comes first.
    const bool hasSize = IsSide(info.biWidth) && (IsSide(info.biHeight) || IsSide(-std::max(info.biHeight, -LONG_MAX)));
    return info.biSize >= sizeof info && isPlain && hasSize ? std::optional(info) : std::nullopt;
}

}  // namespace

std::optional<Picture> PictureOf(const AM_MEDIA_TYPE& type, std::span<const BYTE> sample) {
    const std::optional<BITMAPINFOHEADER> info = HeaderOf(type);
    if (!info)
        return std::nullopt;
    const auto width = static_cast<size_t>(info->biWidth);
    const auto height = static_cast<size_t>(info->biHeight < 0 ? -info->biHeight : info->biHeight);
    const size_t step = info->biBitCount / 8u;
    const size_t stride = (width * step + 3) / 4 * 4;
    if (sample.size() / stride < height)
        return std::nullopt;

    Picture picture{static_cast<UINT>(width), static_cast<UINT>(height), std::vector<BYTE>(width * height * 3)};
    BYTE* point = picture.points.data();
    for (size_t y = 0; y < height; ++y) {
        const BYTE* from = sample.data() + stride * (info->biHeight < 0 ? y : height - 1 - y);
        for (size_t x = 0; x < width; ++x, from += step, point += 3)
            std::copy_n(from, 3, point);
    }
    return picture;
}

}  // namespace tvsource
