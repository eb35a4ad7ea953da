#include <string>
#include <vector>

#include "tests/platform/cg_fixture.h"

namespace {

// A view's rectangle as (left, top, right, bottom).
Rect Whole(const CGRect& r)
{
    return R(int(r.origin.x), int(r.origin.y), int(r.origin.x + r.size.width),
             int(r.origin.y + r.size.height));
}

TEST(HIView, InvalidationsAreRecordedAndPassedToTheHost)
{
    std::vector<Rect> host;
    HIViewRef view = HIViewCreateForHost(
        300, 200,
        [](void* info, const CGRect* r) {
            static_cast<std::vector<Rect>*>(info)->push_back(Whole(*r));
        },
        &host);
    ASSERT_NE(view, nullptr);
    HIRect got;
    ASSERT_EQ(HIViewGetBounds(view, &got), noErr);
    EXPECT_EQ(Whole(got), R(0, 0, 300, 200));
    EXPECT_EQ(HIViewGetGWorld(view), nullptr);
    EXPECT_EQ(HIViewCreateDrawContext(view), nullptr);

    const HIRect r = CGRectMake(10, 20, 30, 40);
    HIViewSetNeedsDisplayInRect(view, &r, true);
    HIViewSetNeedsDisplayInRect(view, &r, false); // asks for nothing
    HIViewSetNeedsDisplayInRegion(view, Region({R(0, 0, 5, 5), R(100, 50, 110, 60)}).handle, true);
    const std::vector<Rect> expected = {R(10, 20, 40, 60), R(0, 0, 5, 5), R(100, 50, 110, 60)};
    EXPECT_EQ(host, expected);
    ASSERT_EQ(HIViewCountInvalidRects(view), 3);
    for (int i = 0; i < 3; i++) {
        ASSERT_TRUE(HIViewGetInvalidRect(view, i, &got));
        EXPECT_EQ(Whole(got), expected[size_t(i)]);
    }
    EXPECT_FALSE(HIViewGetInvalidRect(view, 3, &got));
    EXPECT_FALSE(HIViewGetInvalidRect(view, -1, &got));
    HIViewClearInvalidRects(view);
    EXPECT_EQ(HIViewCountInvalidRects(view), 0);
    HIViewRelease(view);

    EXPECT_EQ(HIViewCreateOffscreen(5000, 10), nullptr);
    EXPECT_EQ(HIViewCreateForHost(-1, 10, nullptr, nullptr), nullptr);
}

TEST(DrawEvent, CarriesACopyOfItsRegion)
{
    EventRef event = CreateDrawEvent(Region({R(1, 2, 3, 4)}).handle);
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
    EXPECT_EQ(r, R(1, 2, 3, 4));
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
    testing::internal::CaptureStderr();
    int16_t hit = 0;
    EXPECT_EQ(StandardAlert(kAlertStopAlert, reinterpret_cast<const unsigned char*>("\x05Stop!"),
                            reinterpret_cast<const unsigned char*>("\x03Why"), nullptr, &hit),
              noErr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Stop!\nWhy\n");
    EXPECT_EQ(hit, 1);
}

TEST(vImageScale, ScalesEachChannelOnItsOwn)
{
    // Uniform pictures stay uniform at any size, alpha included and without
    // premultiplying: a colour brighter than its alpha survives.
    std::vector<uint32_t> src(16 * 8, 0x80FF2040), dst(7 * 20, 0);
    vImage_Buffer from = {src.data(), 8, 16, 64};
    vImage_Buffer to = {dst.data(), 20, 7, 28};
    ASSERT_EQ(vImageScale_ARGB8888(&from, &to, nullptr, kvImageHighQualityResampling),
              kvImageNoError);
    EXPECT_EQ(dst, std::vector<uint32_t>(7 * 20, 0x80FF2040));

    // A hard edge shrinks to a soft one; halves far from it keep their values.
    for (int i = 0; i < 16 * 8; i++)
        src[size_t(i)] = i % 16 < 8 ? 0x000000FF : 0xFFFFFFFF;
    std::vector<uint32_t> half(8 * 4);
    vImage_Buffer small = {half.data(), 4, 8, 32};
    ASSERT_EQ(vImageScale_ARGB8888(&from, &small, nullptr, kvImageHighQualityResampling),
              kvImageNoError);
    EXPECT_EQ(half[0], 0x000000FFu);
    EXPECT_EQ(half[7], 0xFFFFFFFFu);
    const uint32_t red3 = (half[3] >> 8) & 0xFF, red4 = (half[4] >> 8) & 0xFF;
    EXPECT_TRUE(0 < red4 && red3 < red4 && red3 < 255) << red3 << " " << red4;

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
