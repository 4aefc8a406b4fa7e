// Reading and writing buffer attributes. The geometry attributes are fixed at
// allocation; only the colour-space identifier (43) may be written, and it
// reads as "not set" until someone writes it.

#include "registry.h"

extern "C" {

OZU_BASE_API int32_t IPL_BufInquire(int32_t h, int32_t attr, int32_t* value) {
    using namespace ozu::base;
    return guarded([&] {
        Registry& reg = registry();
        std::lock_guard<std::mutex> hold(reg.mutex);
        const Record* record = reg.find(h);
        if (record == nullptr) return fail(BASE_ERR_NO_BUFFER);
        if (value == nullptr) return fail(BASE_ERR_ARGUMENT);
        const BASE_Buffer& pub = record->pub;
        switch (attr) {
            case BASE_ATTR_WIDTH: *value = pub.width; break;
            case BASE_ATTR_HEIGHT: *value = pub.height; break;
            case BASE_ATTR_EXT2: *value = pub.ext2; break;
            case BASE_ATTR_EXT3: *value = pub.ext3; break;
            case BASE_ATTR_PLANES: *value = pub.planes; break;
            case BASE_ATTR_TYPE: *value = pub.type; break;
            case BASE_ATTR_KIND: *value = pub.kind; break;
            case BASE_ATTR_PITCH: *value = pub.pitch; break;
            case BASE_ATTR_COLOR_SPACE:
                if (!record->hasColorSpace) return fail(BASE_ERR_ATTRIBUTE);
                *value = record->colorSpace;
                break;
            default:
                return fail(BASE_ERR_ATTRIBUTE);
        }
        return 1;
    });
}

OZU_BASE_API int32_t IPL_BufControl(int32_t h, int32_t attr, int32_t* value) {
    using namespace ozu::base;
    return guarded([&] {
        Registry& reg = registry();
        std::lock_guard<std::mutex> hold(reg.mutex);
        Record* record = reg.find(h);
        if (record == nullptr) return fail(BASE_ERR_NO_BUFFER);
        if (value == nullptr) return fail(BASE_ERR_ARGUMENT);
        if (attr != BASE_ATTR_COLOR_SPACE) return fail(BASE_ERR_ATTRIBUTE);
        record->colorSpace = *value;
        record->hasColorSpace = true;
        return 1;
    });
}

}  // extern "C"
