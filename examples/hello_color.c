/* A first program against libozu_color: the version, every colour space by
 * name and identifier, and an image buffer of the host to show the handle. */
#include <stdio.h>

#include <ozu/base.h>
#include <ozu/color.h>

int main(void) {
    char text[64];
    if (!COL_GetVersion(text, (int32_t)sizeof text)) {
        fprintf(stderr, "COL_GetVersion: %s\n", IPL_GetErrorString(IPL_GetErrorCode2()));
        return 1;
    }
    printf("libozu_color %s\n\n", text);

    printf("colour spaces:\n");
    for (int32_t id = 1; id <= 1024; id <<= 1) {
        int32_t back = 0;
        if (!COL_GetModelFromID(id, text, (int32_t)sizeof text) ||
            !COL_GetColorSpaceID(text, &back)) {
            fprintf(stderr, "naming %d failed: %s\n", (int)id,
                    IPL_GetErrorString(IPL_GetErrorCode2()));
            return 1;
        }
        printf("  %5d  %-7s (name maps back to %d)\n", (int)id, text, (int)back);
    }

    int32_t image = -1;
    if (!IPL_BufAlloc(&image, 640, 480, 3, 1, 1, BASE_TYPE_U8, BASE_KIND_IMAGE, 0)) {
        fprintf(stderr, "IPL_BufAlloc: %s\n", IPL_GetErrorString(IPL_GetErrorCode2()));
        return 1;
    }
    int32_t pitch = 0;
    IPL_BufInquire(image, BASE_ATTR_PITCH, &pitch);
    printf("\nallocated a 640 x 480 RGB image: handle %d, line pitch %d bytes\n", (int)image,
           (int)pitch);
    IPL_BufFree(image);
    return 0;
}
