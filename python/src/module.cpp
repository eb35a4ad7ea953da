// sprig._sprig: the C++ layer (sprig/sprig.hpp) as Python classes.
//
// A thin translation: arguments are checked for type and shape here, ranges
// by the layer, whose sprig::Error comes out as ValueError where only an
// argument can be at fault, OSError where only the file system can, and
// sprig.Error otherwise. Pixels cross as H x W x 4 uint8 numpy arrays, RGBA
// with straight alpha.
//
// Lifetimes: a Stage holds its sprites, so a sprite stays on the stage until
// it is removed, whether Python still refers to it or not; every Sprite and
// Pen object holds its Stage, so the stage outlives them. Neither holds the
// other's Python object both ways, so there is no cycle to collect.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sprig/sprig.hpp"

namespace py = pybind11;

namespace {

using Array = py::array_t<uint8_t, py::array::c_style>;

// A call whose only way to fail is a bad argument.
template <class F>
auto Checked(F&& f) -> decltype(f())
{
    try {
        return f();
    } catch (const sprig::Error& e) {
        throw py::value_error(e.what());
    }
}

std::string PathOf(const py::handle& path)
{
    return py::module_::import("os").attr("fsdecode")(path).cast<std::string>();
}

// OSError (FileNotFoundError, PermissionError, ...) for a file that cannot be
// opened for reading.
void CheckReadable(const std::string& path)
{
    FILE* file = std::fopen(path.c_str(), "rb");
    struct stat info;
    if (file && fstat(fileno(file), &info) == 0 && S_ISDIR(info.st_mode)) {
        std::fclose(file);
        file = nullptr;
        errno = EISDIR;
    }
    if (!file) {
        PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
        throw py::error_already_set();
    }
    std::fclose(file);
}

sprig::Colour ToColour(const py::handle& value, const char* what)
{
    const std::string wrong = std::string(what) + " must be (r, g, b) with each 0 to 255";
    if (py::isinstance<py::str>(value) || !py::isinstance<py::sequence>(value))
        throw py::type_error(wrong);
    const py::sequence rgb = py::reinterpret_borrow<py::sequence>(value);
    if (rgb.size() != 3)
        throw py::value_error(wrong);
    int channel[3];
    for (size_t i = 0; i < 3; i++) {
        const py::object item = rgb[i];
        if (!PyIndex_Check(item.ptr()))
            throw py::type_error(wrong);
        const long v =
            PyLong_AsLong(py::reinterpret_steal<py::object>(PyNumber_Index(item.ptr())).ptr());
        if (v == -1 && PyErr_Occurred())
            throw py::error_already_set();
        if (v < 0 || v > 255)
            throw py::value_error(wrong + ", not " + std::to_string(v));
        channel[i] = static_cast<int>(v);
    }
    return sprig::Colour{static_cast<uint8_t>(channel[0]), static_cast<uint8_t>(channel[1]),
                         static_cast<uint8_t>(channel[2])};
}

py::tuple FromColour(sprig::Colour c)
{
    return py::make_tuple(c.red, c.green, c.blue);
}

Array ArrayOf(const std::vector<uint8_t>& rgba, int width, int height)
{
    Array out({static_cast<py::ssize_t>(height), static_cast<py::ssize_t>(width), py::ssize_t{4}});
    std::copy(rgba.begin(), rgba.end(), out.mutable_data());
    return out;
}

// Copies an area of a rendered view into an H x W x 4 RGBA array.
void CopyArea(const sprig::Image& image, const sprig::Area& area, uint8_t* out)
{
    const size_t stride = 4 * static_cast<size_t>(image.width());
    for (int y = area.y; y < area.y + area.height; y++) {
        const uint32_t* word = image.row(y).begin() + area.x;
        uint8_t* rgba = out + y * stride + 4 * static_cast<size_t>(area.x);
        for (int x = 0; x < area.width; x++, word++, rgba += 4) {
            // [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
            rgba[0] = static_cast<uint8_t>(*word >> 8);
            rgba[1] = static_cast<uint8_t>(*word >> 16);
            rgba[2] = static_cast<uint8_t>(*word >> 24);
            rgba[3] = static_cast<uint8_t>(*word);
        }
    }
}

// ---- Pictures

sprig::Tint TintOf(bool tinted)
{
    return tinted ? sprig::Tint::PenColour : sprig::Tint::Off;
}

sprig::Picture OpenPicture(const py::object& path, bool tinted)
{
    const std::string name = PathOf(path);
    CheckReadable(name);
    char head[8] = {};
    FILE* file = std::fopen(name.c_str(), "rb");
    const size_t got = file ? std::fread(head, 1, sizeof head, file) : 0;
    if (file)
        std::fclose(file);
    static const char kPng[8] = {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1a', '\n'};
    if (got == 8 && std::memcmp(head, kPng, 8) == 0)
        return sprig::Picture::fromPngFile(name, TintOf(tinted));
    return sprig::Picture::fromPackedFile(name, TintOf(tinted));
}

sprig::Picture PictureFromArray(const py::array& pixels, bool tinted)
{
    if (!pixels.dtype().is(py::dtype::of<uint8_t>()))
        throw py::type_error("Picture.from_array: the array's dtype must be uint8, not " +
                             py::str(pixels.dtype()).cast<std::string>());
    if (pixels.ndim() != 3 || pixels.shape(2) != 4)
        throw py::value_error(
            "Picture.from_array: the array must be height x width x 4 (RGBA), not " +
            py::str(py::handle(pixels.attr("shape"))).cast<std::string>());
    if (pixels.shape(0) < 1 || pixels.shape(0) > 32767 || pixels.shape(1) < 1 ||
        pixels.shape(1) > 32767)
        throw py::value_error("Picture.from_array: a picture is 1 to 32767 pixels each way, not " +
                              std::to_string(pixels.shape(1)) + " x " +
                              std::to_string(pixels.shape(0)));
    const Array rgba = Array::ensure(pixels);
    if (!rgba)
        throw py::error_already_set();
    const int height = static_cast<int>(rgba.shape(0));
    const int width = static_cast<int>(rgba.shape(1));
    const std::vector<uint8_t> bytes(rgba.data(), rgba.data() + rgba.size());
    return sprig::Picture::fromRgba(bytes, width, height, 4 * width, TintOf(tinted));
}

// ---- Stage and sprites

struct StageBox;

// A sprite as its stage holds it; empty once removed.
// What a removed sprite throws: sprig.Error, never ValueError.
struct Removed : sprig::Error
{
    Removed() : sprig::Error("the sprite was removed from its stage") {}
};

struct SpriteBox
{
    std::optional<sprig::Sprite> sprite;

    sprig::Sprite& Get() const
    {
        if (!sprite)
            throw Removed();
        return const_cast<sprig::Sprite&>(*sprite);
    }
};

struct StageBox
{
    StageBox(int width, int height, int zoom) : stage(width, height, zoom) {}

    sprig::Stage stage;
    py::object backdrop = py::make_tuple(255, 255, 255);
    std::vector<std::shared_ptr<SpriteBox>> sprites;
    std::vector<sprig::Area> changed;
};

// The Python Sprite: the stage's box and the stage's Python object.
struct SpriteRef
{
    std::shared_ptr<SpriteBox> box;
    py::object stage;

    sprig::Sprite& Get() const { return box->Get(); }
};

// The Python Pen: the sprite it belongs to.
struct PenRef
{
    SpriteRef owner;
    sprig::Sprite& Get() const { return owner.Get(); }
};

StageBox& StageOf(const SpriteRef& ref)
{
    return ref.stage.cast<StageBox&>();
}

sprig::Picture AsPicture(const py::handle& value, const char* what)
{
    if (!py::isinstance<sprig::Picture>(value))
        throw py::type_error(std::string(what) + " must be a sprig.Picture");
    return value.cast<sprig::Picture>();
}

SpriteRef AddSprite(const py::object& self, const py::object& picture, double x, double y,
                    bool visible)
{
    StageBox& s = self.cast<StageBox&>();
    std::optional<sprig::Picture> shown;
    if (!picture.is_none())
        shown = AsPicture(picture, "Stage.sprite: picture");
    auto box = std::make_shared<SpriteBox>();
    box->sprite.emplace(s.stage.addSprite());
    sprig::Sprite& sprite = *box->sprite;
    Checked([&] {
        if (shown)
            sprite.setPicture(*shown);
        sprite.moveTo(x, y);
    });
    sprite.setVisible(visible);
    s.sprites.push_back(box);
    return SpriteRef{box, self};
}

void RemoveSprite(SpriteRef& ref)
{
    StageBox& s = StageOf(ref);
    ref.Get();
    s.sprites.erase(std::remove(s.sprites.begin(), s.sprites.end(), ref.box), s.sprites.end());
    ref.box->sprite.reset();
}

Array Render(StageBox& s, const std::optional<py::array>& out)
{
    const sprig::Image image = s.stage.render();
    s.changed = s.stage.changedAreas();
    const auto height = static_cast<py::ssize_t>(image.height());
    const auto width = static_cast<py::ssize_t>(image.width());
    if (!out) {
        Array frame({height, width, py::ssize_t{4}});
        CopyArea(image, {0, 0, image.width(), image.height()}, frame.mutable_data());
        return frame;
    }
    const py::array& given = *out;
    const bool fits = given.dtype().is(py::dtype::of<uint8_t>()) && given.ndim() == 3 &&
                      given.shape(0) == height && given.shape(1) == width && given.shape(2) == 4 &&
                      (given.flags() & py::array::c_style) != 0 && given.writeable();
    if (!fits)
        throw py::value_error("Stage.render: out must be a writable C-contiguous uint8 array of "
                              "shape (" +
                              std::to_string(height) + ", " + std::to_string(width) + ", 4)");
    Array frame = py::reinterpret_borrow<Array>(given);
    for (const sprig::Area& area : s.changed)
        CopyArea(image, area, frame.mutable_data());
    return frame;
}

void SetBackdrop(StageBox& s, const py::object& backdrop)
{
    if (py::isinstance<sprig::Picture>(backdrop))
        s.stage.setBackdrop(backdrop.cast<sprig::Picture>());
    else
        s.stage.setBackdrop(ToColour(backdrop, "Stage.backdrop"));
    s.backdrop = backdrop;
    if (!py::isinstance<sprig::Picture>(backdrop))
        s.backdrop = FromColour(ToColour(backdrop, "Stage.backdrop"));
}

void SavePng(StageBox& s, const py::object& path)
{
    const std::string name = PathOf(path);
    const sprig::Image image = s.stage.render();
    s.changed = s.stage.changedAreas();
    try {
        image.savePng(name);
    } catch (const sprig::Error& e) {
        PyErr_SetString(PyExc_OSError, e.what());
        throw py::error_already_set();
    }
}

const char* PenModeName(sprig::PenMode mode)
{
    switch (mode) {
    case sprig::PenMode::Draw:
        return "down";
    case sprig::PenMode::Erase:
        return "erase";
    default:
        return "up";
    }
}

// ---- The calls a host makes every frame, for every sprite
//
// Sprite.move, goto and touching skip pybind11's general dispatch, which
// costs several times what the engine's own work does: they are plain
// METH_FASTCALL methods on the Sprite type, reading the instance's value
// directly.

PyObject* gErrorType = nullptr;
PyTypeObject* gSpriteType = nullptr;

SpriteRef* SpriteOf(PyObject* object)
{
    auto* instance = reinterpret_cast<py::detail::instance*>(object);
    // An instance of the one registered class (or a Python subclass of it)
    // holds its value in the simple layout.
    auto* ref = static_cast<SpriteRef*>(instance->simple_layout
                                            ? instance->simple_value_holder[0]
                                            : instance->get_value_and_holder().value_ptr());
    if (!ref)
        PyErr_SetString(PyExc_TypeError, "a sprig.Sprite made without Stage.sprite()");
    return ref;
}

template <class F>
PyObject* Guarded(F&& f)
{
    try {
        return f();
    } catch (const Removed& e) {
        PyErr_SetString(gErrorType, e.what());
    } catch (const sprig::Error& e) {
        PyErr_SetString(PyExc_ValueError, e.what());
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    } catch (const std::exception& e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
    }
    return nullptr;
}

// float(value), taking exact floats and ints without the float object that
// PyFloat_AsDouble makes of an int.
inline bool Number(PyObject* value, double* out)
{
    if (PyFloat_CheckExact(value))
        *out = PyFloat_AS_DOUBLE(value);
    else if (PyLong_CheckExact(value))
        *out = PyLong_AsDouble(value);
    else
        *out = PyFloat_AsDouble(value);
    return !(*out == -1.0 && PyErr_Occurred());
}

bool TwoNumbers(PyObject* const* args, Py_ssize_t nargs, const char* call, double* a, double* b)
{
    if (nargs != 2) {
        PyErr_Format(PyExc_TypeError, "%s takes 2 numbers, not %zd arguments", call, nargs);
        return false;
    }
    return Number(args[0], a) && Number(args[1], b);
}

PyObject* FastMove(PyObject* self, PyObject* const* args, Py_ssize_t nargs)
{
    SpriteRef* ref = SpriteOf(self);
    double dx, dy;
    if (!ref || !TwoNumbers(args, nargs, "Sprite.move", &dx, &dy))
        return nullptr;
    return Guarded([&] {
        ref->Get().moveBy(dx, dy);
        Py_RETURN_NONE;
    });
}

PyObject* FastGoto(PyObject* self, PyObject* const* args, Py_ssize_t nargs)
{
    SpriteRef* ref = SpriteOf(self);
    double x, y;
    if (!ref || !TwoNumbers(args, nargs, "Sprite.goto", &x, &y))
        return nullptr;
    return Guarded([&] {
        ref->Get().moveTo(x, y);
        Py_RETURN_NONE;
    });
}

PyObject* FastTouching(PyObject* self, PyObject* other)
{
    SpriteRef* ref = SpriteOf(self);
    if (!ref)
        return nullptr;
    if (!PyObject_TypeCheck(other, gSpriteType)) {
        PyErr_SetString(PyExc_TypeError, "Sprite.touching: other must be a sprig.Sprite");
        return nullptr;
    }
    SpriteRef* with = SpriteOf(other);
    if (!with)
        return nullptr;
    return Guarded([&] { return PyBool_FromLong(ref->Get().touching(with->Get())); });
}

PyMethodDef gFastMethods[] = {
    {"move", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&FastMove)), METH_FASTCALL,
     "move(dx, dy, /)\n--\n\nMoves by (dx, dy); a lowered pen draws the way."},
    {"goto", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&FastGoto)), METH_FASTCALL,
     "goto(x, y, /)\n--\n\nMoves to (x, y); a lowered pen draws the way."},
    {"touching", &FastTouching, METH_O,
     "touching(other, /)\n--\n\nWhether both are shown and overlap in pixels that are not "
     "fully transparent."},
};

void AddFastMethods(py::object& type)
{
    gSpriteType = reinterpret_cast<PyTypeObject*>(type.ptr());
    for (PyMethodDef& def : gFastMethods) {
        py::object method = py::reinterpret_steal<py::object>(PyDescr_NewMethod(gSpriteType, &def));
        if (!method)
            throw py::error_already_set();
        type.attr(def.ml_name) = method;
    }
}

} // namespace

PYBIND11_MODULE(_sprig, m)
{
    m.doc() = "The sprig sprite engine: pictures, a stage, sprites with pens (C++ layer).";
    m.attr("__version__") = sprig_version();

    auto error = py::register_exception<sprig::Error>(m, "Error", PyExc_RuntimeError);
    error.attr("__module__") = "sprig";
    gErrorType = error.ptr();
    error.doc() = "What the library raises when it cannot do what it was asked (a damaged "
                  "picture file, a full picture pool, no memory, a removed sprite).";

    py::enum_<sprig::Frame>(m, "Frame", "The frame drawn round a sprite, one pixel wide and black.")
        .value("OFF", sprig::Frame::Off)
        .value("SOLID", sprig::Frame::Solid)
        .value("DASHED", sprig::Frame::Dashed);
    py::enum_<sprig::Antialias>(m, "Antialias", "How a pen line is drawn.")
        .value("OFF", sprig::Antialias::Off, "hard edges, ends on whole pixels")
        .value("ON", sprig::Antialias::On, "smooth edges, ends on whole pixels")
        .value("EXACT", sprig::Antialias::Exact,
               "smooth edges, ends exactly where the sprite was and went");

    py::class_<sprig::Picture>(m, "Picture",
                               "A picture in the library's pool, shared by the sprites that "
                               "show it. Make one with Picture.open or Picture.from_array.")
        .def_static("open", &OpenPicture, py::arg("path"), py::arg("tinted") = false,
                    "A PNG file or a packed picture file (as `sprig pack` writes it). With "
                    "tinted=True only the picture's black pixels show, in the pen colour of "
                    "the sprite showing it (at most 36 such pictures at a time).")
        .def_static("from_array", &PictureFromArray, py::arg("pixels"), py::arg("tinted") = false,
                    "A picture from a height x width x 4 uint8 array: red, green, blue and "
                    "straight alpha.")
        .def_property_readonly("width", &sprig::Picture::width)
        .def_property_readonly("height", &sprig::Picture::height)
        .def_property_readonly(
            "tinted", [](const sprig::Picture& p) { return p.tint() == sprig::Tint::PenColour; })
        .def(
            "to_array",
            [](const sprig::Picture& p) { return ArrayOf(p.rgbaBytes(), p.width(), p.height()); },
            "The pixels as a new height x width x 4 uint8 RGBA array.")
        .def("__eq__",
             [](const sprig::Picture& a, const py::object& b) {
                 return py::isinstance<sprig::Picture>(b) && a.sameAs(b.cast<sprig::Picture>());
             })
        .def("__hash__",
             [](const sprig::Picture& p) {
                 // Copies of one picture share its pixels' identity.
                 return py::hash(
                     py::make_tuple(p.width(), p.height(), p.tint() == sprig::Tint::PenColour));
             })
        .def("__repr__", [](const sprig::Picture& p) {
            return "<sprig.Picture " + std::to_string(p.width()) + " x " +
                   std::to_string(p.height()) + ">";
        });

    py::class_<PenRef>(m, "Pen",
                       "A sprite's pen: while down it draws the sprite's way into the stage's "
                       "background; while erasing it wipes it clear.")
        .def(
            "down", [](PenRef& p) { p.Get().setPenMode(sprig::PenMode::Draw); },
            "Draw from now on as the sprite moves.")
        .def(
            "up", [](PenRef& p) { p.Get().setPenMode(sprig::PenMode::Up); }, "Stop drawing.")
        .def(
            "erase", [](PenRef& p) { p.Get().setPenMode(sprig::PenMode::Erase); },
            "Wipe the background clear along the sprite's way from now on.")
        .def_property_readonly(
            "mode", [](const PenRef& p) { return PenModeName(p.Get().penMode()); },
            "'up', 'down' or 'erase'.")
        .def_property(
            "color", [](const PenRef& p) { return FromColour(p.Get().penColour()); },
            [](PenRef& p, const py::object& c) { p.Get().setPenColour(ToColour(c, "Pen.color")); },
            "(r, g, b), each 0 to 255.")
        .def_property(
            "size", [](const PenRef& p) { return p.Get().penSize(); },
            [](PenRef& p, int size) { Checked([&] { p.Get().setPenSize(size); }); },
            "The line width in stage pixels, 1 to 255.")
        .def_property(
            "antialias", [](const PenRef& p) { return p.Get().penAntialias(); },
            [](PenRef& p, const py::object& a) {
                sprig::Antialias value;
                if (py::isinstance<py::bool_>(a))
                    value = a.cast<bool>() ? sprig::Antialias::On : sprig::Antialias::Off;
                else if (py::isinstance<sprig::Antialias>(a))
                    value = a.cast<sprig::Antialias>();
                else
                    throw py::type_error("Pen.antialias must be a sprig.Antialias or a bool");
                p.Get().setPenAntialias(value);
            },
            "sprig.Antialias.OFF, ON or EXACT (True means ON, False OFF).");

    py::class_<SpriteRef> sprite(
        m, "Sprite",
        "A movable picture on a stage, made by Stage.sprite(). It stays on "
        "the stage until remove(). Positions are the picture's centre in "
        "stage pixels, y down; a sprite leaving the stage comes back in on "
        "the opposite edge.");
    sprite
        .def_property(
            "x", [](const SpriteRef& s) { return s.Get().x(); },
            [](SpriteRef& s, double x) {
                sprig::Sprite& sprite = s.Get();
                Checked([&] { sprite.moveTo(x, sprite.y()); });
            })
        .def_property(
            "y", [](const SpriteRef& s) { return s.Get().y(); },
            [](SpriteRef& s, double y) {
                sprig::Sprite& sprite = s.Get();
                Checked([&] { sprite.moveTo(sprite.x(), y); });
            })
        .def_property(
            "size", [](const SpriteRef& s) { return s.Get().sizePercent(); },
            [](SpriteRef& s, double percent) { Checked([&] { s.Get().setSizePercent(percent); }); },
            "Percent of the picture's natural size, to the nearest 2.5 %.")
        .def_property(
            "opacity", [](const SpriteRef& s) { return s.Get().opacity(); },
            [](SpriteRef& s, int opacity) { Checked([&] { s.Get().setOpacity(opacity); }); },
            "0 (invisible) to 255 (opaque); the pen draws at this opacity too.")
        .def_property(
            "visible", [](const SpriteRef& s) { return s.Get().visible(); },
            [](SpriteRef& s, bool visible) { s.Get().setVisible(visible); })
        .def_property(
            "z", [](const SpriteRef& s) { return s.Get().z(); },
            [](SpriteRef& s, int z) { Checked([&] { s.Get().setZ(z); }); },
            "A larger z stands behind a smaller one; -32768 to 32767.")
        .def_property(
            "picture", [](const SpriteRef& s) { return s.Get().picture(); },
            [](SpriteRef& s, const py::object& picture) {
                sprig::Sprite& sprite = s.Get();
                if (picture.is_none())
                    sprite.removePicture();
                else {
                    const sprig::Picture p = AsPicture(picture, "Sprite.picture");
                    Checked([&] { sprite.setPicture(p); });
                }
            },
            "The picture shown, or None.")
        .def_property(
            "frame", [](const SpriteRef& s) { return s.Get().frame(); },
            [](SpriteRef& s, sprig::Frame frame) { Checked([&] { s.Get().setFrame(frame); }); })
        .def_property_readonly(
            "bounds",
            [](const SpriteRef& s) {
                const sprig::Area a = s.Get().bounds();
                return py::make_tuple(a.x, a.y, a.width, a.height);
            },
            "(x, y, width, height) of the stage pixels the picture covers.")
        .def_property_readonly("pen",
                               [](const SpriteRef& s) {
                                   s.Get();
                                   return PenRef{s};
                               })
        .def_property_readonly(
            "stage", [](const SpriteRef& s) { return s.stage; }, "The stage it is on.")
        .def(
            "stamp", [](SpriteRef& s) { s.Get().stamp(); },
            "Draws the sprite into the background, shown or not.")
        .def(
            "hit",
            [](const SpriteRef& s, int x, int y, int radius) {
                return Checked([&] { return s.Get().hit(x, y, radius); });
            },
            py::arg("x"), py::arg("y"), py::arg("radius") = 0,
            "Whether the shown sprite has a pixel that is not fully transparent at stage "
            "pixel (x, y), or within radius pixels of it.")
        .def(
            "color_under", [](const SpriteRef& s) { return FromColour(s.Get().colourUnder()); },
            "(r, g, b) the stage shows under the sprite's centre, sprites left out.")
        .def("remove", &RemoveSprite, "Takes the sprite off its stage; it can do nothing after.")
        .def_property_readonly(
            "removed", [](const SpriteRef& s) { return !s.box->sprite; },
            "Whether remove() took it off its stage.")
        .def("__eq__",
             [](const SpriteRef& a, const py::object& b) {
                 return py::isinstance<SpriteRef>(b) && a.box == b.cast<const SpriteRef&>().box;
             })
        .def("__hash__", [](const SpriteRef& s) { return std::hash<const void*>()(s.box.get()); });

    py::object spriteType = sprite;
    AddFastMethods(spriteType);

    py::class_<StageBox>(m, "Stage",
                         "A stage of width x height pixels (y down), shown zoom times as "
                         "large. Three layers: the backdrop, the background where pens draw "
                         "and stamps stay, and the sprites.")
        .def(py::init([](int width, int height, int zoom) {
                 return Checked([&] { return std::make_unique<StageBox>(width, height, zoom); });
             }),
             py::arg("width"), py::arg("height"), py::arg("zoom") = 1)
        .def_property_readonly("width", [](const StageBox& s) { return s.stage.width(); })
        .def_property_readonly("height", [](const StageBox& s) { return s.stage.height(); })
        .def_property(
            "zoom", [](const StageBox& s) { return s.stage.zoom(); },
            [](StageBox& s, int zoom) { Checked([&] { s.stage.setZoom(zoom); }); })
        .def_property(
            "backdrop", [](const StageBox& s) { return s.backdrop; }, &SetBackdrop,
            "(r, g, b), or a Picture centred over the last colour.")
        .def("sprite", &AddSprite, py::arg("picture") = py::none(), py::arg("x") = 0.0,
             py::arg("y") = 0.0, py::arg("visible") = true,
             "A new sprite showing picture at (x, y), in front of the others, pen up.")
        .def_property_readonly(
            "sprites",
            [](const py::object& self) {
                py::list list;
                for (const auto& box : self.cast<StageBox&>().sprites)
                    list.append(SpriteRef{box, self});
                return list;
            },
            "The sprites on the stage, oldest first.")
        .def(
            "clear_pen", [](StageBox& s) { s.stage.clearPenTrails(); },
            "Empties the background: every pen trail and stamp goes.")
        .def("render", &Render, py::arg("out") = py::none(),
             "The view as a new (height*zoom, width*zoom, 4) uint8 RGBA array. With out (the "
             "array of the previous render), only the areas that changed are written into it.")
        .def_property_readonly(
            "changed_areas",
            [](const StageBox& s) {
                py::list list;
                for (const sprig::Area& a : s.changed)
                    list.append(py::make_tuple(a.x, a.y, a.width, a.height));
                return list;
            },
            "(x, y, width, height) view areas the last render drew again, disjoint.")
        .def("save", &SavePng, py::arg("path"), "Renders and writes the view as a PNG file.");
}
