// A minimal host: makes a world, draws into it with the library, enlarges it
// with CopyBits and reads pixels back. Built against the installed library
// with either
//     g++ -std=c++17 host.cpp $(pkg-config --cflags --libs sprig)
// or this folder's CMakeLists.txt (find_package(sprig)).
#include <cstdio>

#include <sprig.h>

static uint32_t* Row(GWorldPtr world, int v)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    return reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm) + v * GetPixRowBytes(pm));
}

int main()
{
    Rect small, big;
    SetRect(&small, 0, 0, 2, 2);
    SetRect(&big, 0, 0, 6, 6);
    GWorldPtr src = nullptr;
    GWorldPtr dst = nullptr;
    if (NewGWorld(&src, 32, &small, nullptr, nullptr, 0) != noErr ||
        NewGWorld(&dst, 32, &big, nullptr, nullptr, 0) != noErr) {
        std::fprintf(stderr, "host: cannot make worlds\n");
        return 1;
    }

    // Pixel words: alpha in the low byte, then red, green, blue.
    Row(src, 0)[0] = 0x0000FFFF; // opaque red
    Row(src, 0)[1] = 0xFF000080; // blue at half alpha
    {
        StGWorld current(src);
        RGBColor green = {0x0000, 0xFFFF, 0x0000};
        StForeColor fore(green);
        Rect bottom;
        SetRect(&bottom, 0, 1, 2, 2);
        PaintRect(&bottom);
    }
    CopyBits(GetPortBitMapForCopyBits(src), GetPortBitMapForCopyBits(dst), &small, &big, srcCopy,
             nullptr);

    int failures = 0;
    const uint32_t expected[3] = {0x0000FFFF, 0xFF000080, 0x00FF00FF};
    const int at[3][2] = {{2, 2}, {5, 0}, {4, 5}};
    for (int i = 0; i < 3; i++) {
        const uint32_t word = Row(dst, at[i][1])[at[i][0]];
        std::printf("pixel (%d,%d) = 0x%08X\n", at[i][0], at[i][1], static_cast<unsigned>(word));
        failures += word != expected[i];
    }
    {
        StGWorld current(dst);
        RGBColor c;
        GetCPixel(4, 5, &c);
        std::printf("colour at (4,5): %04X %04X %04X\n", c.red, c.green, c.blue);
        failures += c.green != 0xFFFF || c.red != 0 || c.blue != 0;
    }
    CRect a(short{0}, short{0}, short{4}, short{4});
    CRect b(short{2}, short{2}, short{8}, short{8});
    CRect both = a & b;
    std::printf("intersection: %d x %d\n", both.Width(), both.Height());
    failures += both.Width() != 2 || both.Height() != 2;

    DisposeGWorld(src);
    DisposeGWorld(dst);
    std::printf(failures ? "host: FAILED\n" : "host: ok\n");
    return failures != 0;
}
