// A host with names of its own that the library's exported interface uses
// too. It includes only <sprig/sprig.hpp> (after X11's headers where they
// are installed), defines globals called background, priv and counter, a
// Boolean type, and functions called SetRect and SprRound, and links with
// libsprig.so. The library's own references must still reach its own
// objects: its SetRect and SprRound are called (here they would abort or
// misplace the sprite), its find cursor `priv` is freed at exit (here it
// would free the host's pointer). `counter` is shared with hosts that read
// it (cmake/sprig_shared_data.list); the layer never touches it.
#if __has_include(<X11/Intrinsic.h>)
#include <X11/Intrinsic.h> // Boolean, None, True, False, Status ...
#else
typedef int Boolean;
#endif

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <sprig/sprig.hpp>

static int cursorOwner;
void* priv = &cursorOwner;
const char* background = "sky.png";
int counter = 7;
Boolean shown = 1;

extern "C" void SetRect(void*, short, short, short, short)
{
    std::fprintf(stderr, "clash_host: the library called the host's SetRect\n");
    std::abort();
}

extern "C" int32_t SprRound(const double*)
{
    return 999;
}

int main()
{
    int failures = 0;
    auto check = [&](bool ok, const char* what) {
        if (!ok) {
            std::fprintf(stderr, "clash_host: %s\n", what);
            failures++;
        }
    };
    try {
        sprig::Stage stage(20, 20);
        const std::vector<std::uint8_t> red = {255, 0, 0, 255};
        std::vector<std::uint8_t> pixels;
        for (int i = 0; i < 16; i++)
            pixels.insert(pixels.end(), red.begin(), red.end());
        sprig::Sprite sprite = stage.addSprite();
        sprite.setPicture(sprig::Picture::fromRgba(pixels, 4, 4, 16));
        sprite.moveTo(10.4, 9.6);
        sprite.setVisible(shown != 0);
        const sprig::Image frame = stage.render();
        check(sprite.bounds() == sprig::Area{8, 8, 4, 4}, "the sprite is not at (8, 8, 4, 4)");
        check(frame.pixel(8, 8) == sprig::Rgba{255, 0, 0, 255}, "no sprite at (8, 8)");
        check(frame.pixel(12, 8) == sprig::Rgba{255, 255, 255, 255}, "no backdrop at (12, 8)");
    } catch (const sprig::Error& e) {
        std::fprintf(stderr, "clash_host: %s\n", e.what());
        failures++;
    }
    check(priv == &cursorOwner && counter == 7 && background[0] == 's',
          "the library changed the host's own globals");
    std::printf(failures ? "clash_host: FAILED\n" : "clash_host: ok\n");
    return failures != 0;
}
