// CLPIMAGE: the holder of a TIMAGE record that describes caller memory.
#include <ozu/bayer.h>

#include <cstdlib>

CLPIMAGE::~CLPIMAGE() { free_lpi(); }

CLPIMAGE& CLPIMAGE::operator=(CLPIMAGE&& other) noexcept {
    if (this != &other) {
        free_lpi();
        record_ = other.record_;
        other.record_ = nullptr;
    }
    return *this;
}

void CLPIMAGE::set_lpi(TIMAGE* record) noexcept {
    if (record != record_) {
        free_lpi();
        record_ = record;
    }
}

int32_t CLPIMAGE::setImage(void* pixels, int32_t width, int32_t height, int32_t lineBytes,
                           int32_t bitsPerPixel, int32_t flags) noexcept {
    if (record_ == nullptr) return kNoRecord;
    if (pixels == nullptr) return kNullPixels;
    if (width < 1 || height < 1) return kBadSize;
    if (bitsPerPixel < 8 || bitsPerPixel > 64 || bitsPerPixel % 8 != 0) return kBadBits;
    // In 64 bits: width * bytes per pixel can pass 2^31 for a wide image.
    if (int64_t(lineBytes) < int64_t(width) * (bitsPerPixel / 8)) return kBadLineBytes;
    if (flags != 0) return kBadFlags;
    record_->pixels = static_cast<uint8_t*>(pixels);
    record_->width = width;
    record_->height = height;
    record_->lineBytes = lineBytes;
    record_->bitsPerPixel = bitsPerPixel;
    record_->flags = flags;
    return kOk;
}

void CLPIMAGE::free_lpi() noexcept {
    std::free(record_);
    record_ = nullptr;
}
