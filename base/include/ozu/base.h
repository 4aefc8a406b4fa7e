/*
 * libozu_base: the image-buffer host of the ozu imaging suite.
 *
 * Every pixel lives here. Buffers are named by positive int32_t handles (-1 is
 * "none"); every IPL_ function returns 1 on success and 0 on failure, after
 * recording its own error code in the calling thread's error slot.
 *
 * All functions are thread-safe: the handle registry is guarded by a lock.
 */
#ifndef OZU_BASE_H
#define OZU_BASE_H

#include <stdint.h>

#if defined(_WIN32)
#define OZU_BASE_API __declspec(dllexport)
#else
#define OZU_BASE_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Pixel type codes (attribute 5). */
enum {
    BASE_TYPE_S8 = 1,  /**< int8_t, colour range 127 */
    BASE_TYPE_U8 = 2,  /**< uint8_t, range 255 */
    BASE_TYPE_S16 = 3, /**< int16_t, colour range 32767 */
    BASE_TYPE_U16 = 4, /**< uint16_t, range 65535 */
    BASE_TYPE_S32 = 6  /**< int32_t, profiles and histograms only */
};

/** Buffer kinds (attribute 6) the host itself hands out. */
enum { BASE_KIND_IMAGE = 1, BASE_KIND_TABLE = 2 };

/** Attribute numbers for IPL_BufInquire / IPL_BufControl. */
enum {
    BASE_ATTR_WIDTH = 0,
    BASE_ATTR_HEIGHT = 1,
    BASE_ATTR_EXT2 = 2,
    BASE_ATTR_EXT3 = 3,
    BASE_ATTR_PLANES = 4,
    BASE_ATTR_TYPE = 5,
    BASE_ATTR_KIND = 6,
    BASE_ATTR_PITCH = 7,
    BASE_ATTR_COLOR_SPACE = 43
};

/** IPL_BufAlloc flags: bit 0 asks for a descriptor without pixel memory;
 *  bits 8..23 carry a line alignment in bytes (0 = the default 64). */
enum { BASE_ALLOC_NO_DATA = 1 };
#define BASE_ALLOC_ALIGN(bytes) ((int32_t)(((uint32_t)(bytes) & 0xFFFFu) << 8))

/** Lock and pointer modes. */
enum { BASE_MODE_READ = 0, BASE_MODE_WRITE = 1 };

/** Host error codes. */
enum {
    BASE_ERR_NO_BUFFER = -1001,    /**< no buffer with this handle */
    BASE_ERR_ARGUMENT = -1002,     /**< argument out of range */
    BASE_ERR_MEMORY = -1003,       /**< out of memory, or size overflow */
    BASE_ERR_ATTRIBUTE = -1004,    /**< attribute unknown, not writable, or not set */
    BASE_ERR_REGION = -1005,       /**< region outside the buffer, or no pixel data */
    BASE_ERR_BUSY = -1006,         /**< locked, pointer out, or live children */
    BASE_ERR_NOT_HELD = -1007,     /**< unlock or release matching no lock or request */
    BASE_ERR_PIXEL_TYPE = -1008,   /**< pixel type not supported by this operation */
    BASE_ERR_GEOMETRY = -1009      /**< operands of different geometry */
};

/** The public record of a buffer. The host keeps its private state elsewhere;
 *  callers may write bayerParity and colorCorrection through the pointer. */
typedef struct BASE_Buffer {
    int32_t handle;
    int32_t width;
    int32_t height;
    int32_t planes;
    int32_t ext2;
    int32_t ext3;
    int32_t type;
    int32_t kind;
    int32_t pitch;              /* line pitch in bytes */
    int32_t bitsPerSample;      /* 8 x element size */
    int32_t dataPresent;        /* 0 for a descriptor-only buffer */
    int32_t bayerParity;        /* -1 on a new buffer */
    double colorCorrection[7];  /* 1, 0, 1, 0, 1, 0, 1 on a new buffer */
} BASE_Buffer;

/** 1 when @p h names a live buffer, else 0. Records nothing. */
OZU_BASE_API int32_t BASE_IsBufferExistent(int32_t h);
/** The public record of buffer @p h, valid until the buffer is freed; NULL
 *  for an unknown handle. Records nothing. */
OZU_BASE_API BASE_Buffer* BASE_GetAtBuffer(int32_t h);
/** The number of live buffers, children included (for leak checks). */
OZU_BASE_API int32_t BASE_BufferCount(void);

/** Reads attribute @p attr (0..7, 43) of buffer @p h into @p *value.
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER (unknown handle), BASE_ERR_ARGUMENT
 *  (@p value null), BASE_ERR_ATTRIBUTE (unknown attribute, or 43 not set). */
OZU_BASE_API int32_t IPL_BufInquire(int32_t h, int32_t attr, int32_t* value);
/** Writes attribute @p attr of buffer @p h from @p *value; only 43, the
 *  colour-space identifier, is writable (any value, 0 included).
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER, BASE_ERR_ARGUMENT (@p value null),
 *  BASE_ERR_ATTRIBUTE (any other attribute). */
OZU_BASE_API int32_t IPL_BufControl(int32_t h, int32_t attr, int32_t* value);
/** Creates a zero-filled buffer and writes its handle to @p *h (whatever
 *  @p *h held). Lines are 64-byte aligned unless @p flags carries
 *  BASE_ALLOC_ALIGN(n), which pads the pitch to a multiple of n and of the
 *  element size, so that every line starts on an element (and aligns lines
 *  to n when n is a power of two above 64); BASE_ALLOC_NO_DATA makes a
 *  descriptor without pixel memory. The pixels are followed by zeroed slack of
 *  one pitch plus 64 bytes. Any value of @p kind is accepted.
 *  @return 1, or 0 with BASE_ERR_ARGUMENT (@p h null, a size below 1, planes
 *  above 4, unknown type, unknown flag bits) or BASE_ERR_MEMORY (pitch above
 *  INT32_MAX, size overflow, allocation failure). */
OZU_BASE_API int32_t IPL_BufAlloc(int32_t* h, int32_t width, int32_t height, int32_t planes,
                                  int32_t ext2, int32_t ext3, int32_t type, int32_t kind,
                                  int32_t flags);
/** IPL_BufAlloc of a @p length x 1 buffer of one plane, extents 1 and 1.
 *  @return as IPL_BufAlloc. */
OZU_BASE_API int32_t IPL_BufAlloc1D(int32_t* h, int32_t length, int32_t type, int32_t kind,
                                    int32_t flags);
/** Creates a view (no copy) of planes plane..plane+planes-1, blocks
 *  i..i+n2-1 x j..j+n3-1, region (x, y, width, height) of @p parent; same
 *  type, kind and pitch, the parent's colour space when set, the parent's
 *  data-present word. The parent cannot be freed while the child lives.
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER (unknown parent), BASE_ERR_ARGUMENT
 *  (@p h null, a count below 1), BASE_ERR_REGION (outside the parent),
 *  BASE_ERR_MEMORY. */
OZU_BASE_API int32_t IPL_BufAllocChild(int32_t* h, int32_t parent, int32_t x, int32_t y,
                                       int32_t plane, int32_t i, int32_t j, int32_t width,
                                       int32_t height, int32_t planes, int32_t n2, int32_t n3);
/** IPL_BufAllocChild with planes = n2 = n3 = 1. */
OZU_BASE_API int32_t IPL_BufAllocChild2D(int32_t* h, int32_t parent, int32_t x, int32_t y,
                                         int32_t plane, int32_t i, int32_t j, int32_t width,
                                         int32_t height);
/** Frees buffer @p h (its memory goes with its last view).
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER or BASE_ERR_BUSY (locked, a pointer
 *  out, or live children). */
OZU_BASE_API int32_t IPL_BufFree(int32_t h);

/** Counts one lock of @p mode (0 read, 1 write) on @p h; locks never exclude
 *  each other, they only keep the buffer from being freed.
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER or BASE_ERR_ARGUMENT (mode). */
OZU_BASE_API int32_t IPL_BufLock(int32_t h, int32_t mode);
/** Undoes one lock of the same mode.
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER, BASE_ERR_ARGUMENT (mode) or
 *  BASE_ERR_NOT_HELD (no lock of that mode). */
OZU_BASE_API int32_t IPL_BufUnlock(int32_t h, int32_t mode);
/** A pointer to pixel (x, y) of plane @p plane of block (i, j) and the line
 *  pitch in bytes. Inside the block the pointer is into the buffer itself; a
 *  region running past the last column or line gets a staging area of exactly
 *  width x height elements (pitch width x element size) holding the overlap
 *  and zeros, written back (overlap only) on release in write mode.
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER, BASE_ERR_ARGUMENT (mode, null
 *  @p pitch or @p ptr, width or height below 1), BASE_ERR_REGION (no pixel
 *  data, block or start outside) or BASE_ERR_MEMORY (staging area). */
OZU_BASE_API int32_t IPL_GetPtrEx(int32_t h, int32_t mode, int32_t x, int32_t y, int32_t plane,
                                  int32_t i, int32_t j, int32_t width, int32_t height,
                                  int32_t* pitch, void** ptr);
/** Returns a pointer obtained with the very same arguments.
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER, BASE_ERR_ARGUMENT (mode) or
 *  BASE_ERR_NOT_HELD (no matching request; a null pointer matches nothing). */
OZU_BASE_API int32_t IPL_ReleasePtrEx(int32_t h, int32_t mode, int32_t x, int32_t y,
                                      int32_t plane, int32_t i, int32_t j, int32_t width,
                                      int32_t height, void* ptr);
/** IPL_GetPtrEx over the whole block (plane, i, j). */
OZU_BASE_API int32_t IPL_GetPtr(int32_t h, int32_t mode, int32_t plane, int32_t i, int32_t j,
                                int32_t* pitch, void** ptr);
/** IPL_ReleasePtrEx over the whole block (plane, i, j). */
OZU_BASE_API int32_t IPL_ReleasePtr(int32_t h, int32_t mode, int32_t plane, int32_t i,
                                    int32_t j, void* ptr);

/** Copies a region of plane @p plane of block (i, j) into caller lines: line
 *  r starts at byte r x @p dataPitch of @p data, the region at element
 *  @p dataX of it. Bytes are copied as they are.
 *  @return 1, or 0 with BASE_ERR_NO_BUFFER, BASE_ERR_ARGUMENT (@p data null,
 *  width or height below 1, @p dataX negative), BASE_ERR_PIXEL_TYPE
 *  (@p dataType of another element size) or BASE_ERR_REGION (no pixel data,
 *  region outside the block). */
OZU_BASE_API int32_t IPL_GetBufDataEx(int32_t h, int32_t x, int32_t y, int32_t plane, int32_t i,
                                      int32_t j, int32_t width, int32_t height, int32_t dataX,
                                      int32_t dataPitch, void* data, int32_t dataType);
/** The reverse of IPL_GetBufDataEx: caller lines into the buffer.
 *  @return as IPL_GetBufDataEx. */
OZU_BASE_API int32_t IPL_PutBufDataEx(int32_t h, int32_t x, int32_t y, int32_t plane, int32_t i,
                                      int32_t j, int32_t width, int32_t height, int32_t dataX,
                                      int32_t dataPitch, const void* data, int32_t dataType);
/** IPL_PutBufDataEx from packed lines of the buffer's own type.
 *  @return as IPL_GetBufDataEx, without BASE_ERR_PIXEL_TYPE. */
OZU_BASE_API int32_t IPL_PutBufData(int32_t h, int32_t x, int32_t y, int32_t plane, int32_t i,
                                    int32_t j, int32_t width, int32_t height, const void* data);

OZU_BASE_API int32_t IPL_PtBufCopy(int32_t src, int32_t* dst, int32_t maxWidth,
                                   int32_t maxHeight, int32_t flags);
OZU_BASE_API int32_t IPL_PtLutMap(int32_t src, int32_t plane, int32_t* dst, int32_t table);
OZU_BASE_API int32_t IPL_PtToPoint(int32_t a, int32_t b, int32_t* result, int32_t op);

OZU_BASE_API int32_t IPL_StatHistogram(int32_t src, int32_t* hist);
OZU_BASE_API int32_t IPL_StatBestThreshold(int32_t hist, int32_t* threshold);
OZU_BASE_API int32_t IPL_StatGetLineProfileLength(int32_t x0, int32_t y0, int32_t x1,
                                                  int32_t y1, int32_t* length);
OZU_BASE_API int32_t IPL_StatLineProfileImage(int32_t src, int32_t* strip, int32_t x0,
                                              int32_t y0, int32_t x1, int32_t y1,
                                              int32_t lineWidth, int32_t mode);
OZU_BASE_API int32_t IPL_StatProfile(int32_t src, int32_t* profile, int32_t mode);

/** Stores @p code in the calling thread's error slot. */
OZU_BASE_API void IPL_SetErrorCode(int32_t code);
/** The calling thread's error slot: the last recorded code (0 in a new
 *  thread). A success never clears it. */
OZU_BASE_API int32_t IPL_GetErrorCode2(void);
/** A static text for every code of the colour module and of the host,
 *  strerror's text for positive codes, "unknown error" otherwise; never NULL.
 *  A system text stays valid until the calling thread's next call. */
OZU_BASE_API const char* IPL_GetErrorString(int32_t code);

#ifdef __cplusplus
}
#endif

#endif /* OZU_BASE_H */
