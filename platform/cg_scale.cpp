// High-quality scaling of a buffer of 32-bit pixels: pixman's separable
// convolution filter with a Lanczos (3-lobe) kernel, each of the four
// channels on its own (nothing is premultiplied or clamped to the alpha),
// edges extended.
#include <climits>
#include <cstdlib>

#include <pixman.h>

#include "platform/coregraphics.h"

namespace {

bool Usable(const vImage_Buffer* b)
{
    return b && b->data && b->width > 0 && b->height > 0 && b->width <= 32767 &&
           b->height <= 32767 && b->rowBytes >= 4 * size_t{b->width} && b->rowBytes % 4 == 0 &&
           b->rowBytes <= INT_MAX;
}

pixman_image_t* ImageOver(const vImage_Buffer* b)
{
    // Every channel is carried alike: the layout's names for them do not matter.
    return pixman_image_create_bits_no_clear(
        PIXMAN_a8r8g8b8, static_cast<int>(b->width), static_cast<int>(b->height),
        static_cast<uint32_t*>(b->data), static_cast<int>(b->rowBytes));
}

} // namespace

vImage_Error vImageScale_ARGB8888(const vImage_Buffer* src, const vImage_Buffer* dest, void*,
                                  vImage_Flags)
{
    if (!Usable(src) || !Usable(dest))
        return kvImageInvalidParameter;
    pixman_image_t* from = ImageOver(src);
    pixman_image_t* to = ImageOver(dest);
    if (!from || !to) {
        if (from)
            pixman_image_unref(from);
        if (to)
            pixman_image_unref(to);
        return kvImageMemoryAllocationError;
    }
    // Source pixels per destination pixel: above 1 the kernel is stretched
    // over the source (filtering away detail), below 1 it interpolates.
    const double sx = static_cast<double>(src->width) / dest->width;
    const double sy = static_cast<double>(src->height) / dest->height;
    pixman_transform_t transform;
    pixman_transform_init_scale(&transform, pixman_double_to_fixed(sx), pixman_double_to_fixed(sy));
    pixman_image_set_transform(from, &transform);
    pixman_image_set_repeat(from, PIXMAN_REPEAT_PAD);
    int count = 0;
    pixman_fixed_t* params = pixman_filter_create_separable_convolution(
        &count, pixman_double_to_fixed(sx), pixman_double_to_fixed(sy),
        sx > 1 ? PIXMAN_KERNEL_IMPULSE : PIXMAN_KERNEL_LANCZOS3,
        sy > 1 ? PIXMAN_KERNEL_IMPULSE : PIXMAN_KERNEL_LANCZOS3,
        sx > 1 ? PIXMAN_KERNEL_LANCZOS3 : PIXMAN_KERNEL_IMPULSE,
        sy > 1 ? PIXMAN_KERNEL_LANCZOS3 : PIXMAN_KERNEL_IMPULSE, 4, 4);
    vImage_Error result = kvImageMemoryAllocationError;
    if (params &&
        pixman_image_set_filter(from, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, params, count)) {
        pixman_image_composite32(PIXMAN_OP_SRC, from, nullptr, to, 0, 0, 0, 0, 0, 0,
                                 static_cast<int>(dest->width), static_cast<int>(dest->height));
        result = kvImageNoError;
    }
    std::free(params);
    pixman_image_unref(from);
    pixman_image_unref(to);
    return result;
}
