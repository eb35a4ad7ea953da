#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/coregraphics.h"
#include "tests/test_util.h"

namespace {

struct Recorded
{
    std::vector<CGRect> rects;
    static void Proc(void* info, const CGRect* r)
    {
        static_cast<Recorded*>(info)->rects.push_back(*r);
    }
};

TEST(HIView, InvalidationsAreRecordedAndPassedToTheHost)
{
    Recorded host;
    HIViewRef view = HIViewCreateForHost(300, 200, &Recorded::Proc, &host);
    ASSERT_NE(view, nullptr);
    HIRect bounds;
    ASSERT_EQ(HIViewGetBounds(view, &bounds), noErr);
    EXPECT_EQ(bounds.size.width, 300);
    EXPECT_EQ(bounds.size.height, 200);
    EXPECT_EQ(HIViewGetGWorld(view), nullptr);
    EXPECT_EQ(HIViewCreateDrawContext(view), nullptr);

    const HIRect r = CGRectMake(10, 20, 30, 40);
    HIViewSetNeedsDisplayInRect(view, &r, true);
    HIViewSetNeedsDisplayInRect(view, &r, false); // asks for nothing
    RgnHandle region = NewRgn();
    RgnHandle other = NewRgn();
    SetRectRgn(region, 0, 0, 5, 5);
    SetRectRgn(other, 100, 50, 110, 60);
    UnionRgn(region, other, region);
    HIViewSetNeedsDisplayInRegion(view, region, true);
    ASSERT_EQ(HIViewCountInvalidRects(view), 3);
    ASSERT_EQ(host.rects.size(), 3u);
    HIRect got;
    ASSERT_TRUE(HIViewGetInvalidRect(view, 0, &got));
    EXPECT_EQ(got.origin.x, 10);
    EXPECT_EQ(got.origin.y, 20);
    EXPECT_EQ(got.size.width, 30);
    EXPECT_EQ(got.size.height, 40);
    ASSERT_TRUE(HIViewGetInvalidRect(view, 2, &got));
    EXPECT_EQ(got.origin.x, 100);
    EXPECT_EQ(got.size.height, 10);
    EXPECT_EQ(host.rects[2].origin.y, 50);
    EXPECT_FALSE(HIViewGetInvalidRect(view, 3, &got));
    EXPECT_FALSE(HIViewGetInvalidRect(view, -1, &got));
    HIViewClearInvalidRects(view);
    EXPECT_EQ(HIViewCountInvalidRects(view), 0);
    DisposeRgn(region);
    DisposeRgn(other);
    HIViewRelease(view);

    EXPECT_EQ(HIViewCreateOffscreen(5000, 10), nullptr);
    EXPECT_EQ(HIViewCreateForHost(-1, 10, nullptr, nullptr), nullptr);
}

TEST(HIView, OffscreenViewDrawsImagesUpright)
{
    HIViewRef view = HIViewCreateOffscreen(4, 4);
    GWorldPtr pixels = HIViewGetGWorld(view);
    ASSERT_NE(pixels, nullptr);
    World picture = MakeWorld(1, 2);
    Pixel(picture.get(), 0, 0) = 0x0000FFFF; // red on top
    Pixel(picture.get(), 0, 1) = 0xFF0000FF; // blue below
    PixMapHandle pm = GetGWorldPixMap(picture.get());
    CGDataProviderRef provider = CGDataProviderCreateWithData(
        nullptr, GetPixBaseAddr(pm), 2 * size_t(GetPixRowBytes(pm)), nullptr);
    CGImageRef image =
        CGImageCreate(1, 2, 8, 32, size_t(GetPixRowBytes(pm)), CGColorSpaceCreateDeviceRGB(),
                      kCGImageAlphaFirst, provider, nullptr, false, kCGRenderingIntentDefault);
    CGDataProviderRelease(provider); // the image keeps it
    CGContextRef ctx = HIViewCreateDrawContext(view);
    ASSERT_NE(ctx, nullptr);
    const HIRect where = CGRectMake(1, 0, 2, 4);
    HIViewDrawCGImage(ctx, &where, image);
    CGContextRelease(ctx);
    CGImageRelease(image);
    EXPECT_EQ(Pixel(pixels, 1, 0), 0x0000FFFFu);
    EXPECT_EQ(Pixel(pixels, 2, 0), 0x0000FFFFu);
    EXPECT_EQ(Pixel(pixels, 1, 3), 0xFF0000FFu);
    EXPECT_EQ(Pixel(pixels, 0, 0), 0u);
    EXPECT_EQ(Pixel(pixels, 3, 3), 0u);
    HIViewRelease(view);
}

TEST(DrawEvent, CarriesACopyOfItsRegion)
{
    RgnHandle region = NewRgn();
    SetRectRgn(region, 1, 2, 3, 4);
    EventRef event = CreateDrawEvent(region);
    DisposeRgn(region);
    RgnHandle got = nullptr;
    EventParamType type = 0;
    uint32_t size = 0;
    ASSERT_EQ(GetEventParameter(event, kEventParamRgnHandle, typeQDRgnHandle, &type, sizeof got,
                                &size, &got),
              noErr);
    EXPECT_EQ(type, typeQDRgnHandle);
    EXPECT_EQ(size, sizeof got);
    Rect r;
    GetRegionBounds(got, &r);
    EXPECT_EQ(r.left, 1);
    EXPECT_EQ(r.bottom, 4);
    EXPECT_EQ(
        GetEventParameter(event, kEventParamRgnHandle, typeQDRgnHandle, nullptr, 4, nullptr, &got),
        errAEBufferTooSmall);
    ReleaseEvent(event);

    EventRef none = CreateDrawEvent(nullptr);
    EXPECT_EQ(GetEventParameter(none, kEventParamRgnHandle, typeQDRgnHandle, nullptr, sizeof got,
                                nullptr, &got),
              eventParameterNotFoundErr);
    ReleaseEvent(none);
}

TEST(StandardAlert, DefaultWritesBothTextsToStandardError)
{
    const unsigned char error[] = "\x05Stop!";
    const unsigned char explanation[] = "\x03Why";
    testing::internal::CaptureStderr();
    int16_t hit = 0;
    EXPECT_EQ(StandardAlert(kAlertStopAlert, error, explanation, nullptr, &hit), noErr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Stop!\nWhy\n");
    EXPECT_EQ(hit, 1);
}

TEST(vImageScale, ScalesEachChannelOnItsOwn)
{
    // Uniform pictures stay uniform at any size, alpha included and without
    // premultiplying: a colour brighter than its alpha survives.
    std::vector<uint32_t> src(16 * 8, 0x80FF2040);
    std::vector<uint32_t> dst(7 * 20, 0);
    vImage_Buffer from = {src.data(), 8, 16, 64};
    vImage_Buffer to = {dst.data(), 20, 7, 28};
    ASSERT_EQ(vImageScale_ARGB8888(&from, &to, nullptr, kvImageHighQualityResampling),
              kvImageNoError);
    for (uint32_t p : dst)
        ASSERT_EQ(p, 0x80FF2040u);

    // A hard edge shrinks to a soft one; halves far from it keep their values.
    for (int v = 0; v < 8; v++)
        for (int h = 0; h < 16; h++)
            src[v * 16 + h] = h < 8 ? 0x000000FF : 0xFFFFFFFF;
    std::vector<uint32_t> half(8 * 4);
    vImage_Buffer small = {half.data(), 4, 8, 32};
    ASSERT_EQ(vImageScale_ARGB8888(&from, &small, nullptr, kvImageHighQualityResampling),
              kvImageNoError);
    EXPECT_EQ(half[0], 0x000000FFu);
    EXPECT_EQ(half[7], 0xFFFFFFFFu);
    const uint32_t red3 = (half[3] >> 8) & 0xFF, red4 = (half[4] >> 8) & 0xFF;
    EXPECT_LT(red3, red4);
    EXPECT_GT(red4, 0u);
    EXPECT_LT(red3, 255u);

    vImage_Buffer bad = {dst.data(), 20, 7, 27};
    EXPECT_EQ(vImageScale_ARGB8888(&from, &bad, nullptr, 0), kvImageInvalidParameter);
}

TEST(CGImage, RejectsLayoutsAndSizesItCannotDraw)
{
    std::vector<uint32_t> pixels(4 * 4);
    int released = 0;
    CGDataProviderRef provider = CGDataProviderCreateWithData(
        &released, pixels.data(), pixels.size() * 4,
        [](void* info, const void*, uint32_t size) { *static_cast<int*>(info) += int(size); });
    CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
    EXPECT_EQ(CGImageCreate(4, 4, 8, 24, 16, rgb, 4, provider, nullptr, false, 0), nullptr);
    EXPECT_EQ(CGImageCreate(4, 4, 8, 32, 16, rgb, 7, provider, nullptr, false, 0), nullptr);
    EXPECT_EQ(CGImageCreate(4, 5, 8, 32, 16, rgb, 4, provider, nullptr, false, 0), nullptr);
    EXPECT_EQ(CGImageCreate(0, 4, 8, 32, 16, rgb, 4, provider, nullptr, false, 0), nullptr);
    EXPECT_EQ(CGImageCreate(4, 4, 8, 32, 8, rgb, 4, provider, nullptr, false, 0), nullptr);
    CGImageRef image = CGImageCreate(4, 4, 8, 32, 16, rgb, 4, provider, nullptr, false, 0);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(CGImageGetWidth(image), 4u);
    CGDataProviderRelease(provider);
    EXPECT_EQ(released, 0); // the image still holds the data
    CGImageRetain(image);
    CGImageRelease(image);
    EXPECT_EQ(released, 0);
    CGImageRelease(image);
    EXPECT_EQ(released, 64);
}

} // namespace
