# Debian packages, made by `cpack -G DEB` in a build folder configured with
# -DCMAKE_INSTALL_PREFIX=/usr (so that the library goes to Debian's multiarch
# folder). They are split as Debian splits a library, one package for each
# install component:
#   libsprig0      runtime  libsprig.so.0 and its real file
#   libsprig-dev   dev      headers, libsprig.so, sprig.pc, the CMake package
#   sprig-tools    tools    the sprig tool and its manual page
#   python3-sprig  python   the Python module, when a `python` component is
#                           installed (include this file after it is added)
# Each package carries LICENSE as its copyright file, as Debian's own do.
# scripts/package_test.sh builds, installs and uses them.

install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libsprig0 RENAME copyright
    COMPONENT runtime)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libsprig-dev RENAME copyright
    COMPONENT dev)
if(SPRIG_BUILD_TOOLS)
    install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/sprig-tools RENAME copyright
        COMPONENT tools)
endif()

get_cmake_property(sprig_components COMPONENTS)
set(sprig_packaged runtime dev)
if(SPRIG_BUILD_TOOLS)
    list(APPEND sprig_packaged tools)
endif()
if("python" IN_LIST sprig_components)
    install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-sprig
        RENAME copyright COMPONENT python)
    list(APPEND sprig_packaged python)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sprig)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The sprig developers")
set(CPACK_PACKAGE_CONTACT "The sprig developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_COMPONENTS_ALL ${sprig_packaged})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Dependencies on other packages' libraries come from dpkg-shlibdeps; those
# between our own packages are written below, at exactly this version.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds libsprig.so.0 in the build folder (it belongs to no
# installed package yet, so it adds nothing for it).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(sprig_exact "(= ${PROJECT_VERSION})")
set(sprig_licence "Distributed under the zlib licence.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libsprig0)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION} - shared library
 libsprig.so: a sprite engine for host applications. Sprites on a stage, pen
 trails and stamps, soft-brush paint tools, a pool of run-length packed
 pictures, packing and unpacking, bitmap fingerprints. ${sprig_licence}")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libsprig-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# sprig.pc requires the pkg-config files of the libraries it is built on,
# and the headers include cairo's.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "libsprig0 ${sprig_exact}, libcairo2-dev, libpixman-1-dev, libssl-dev, libpng-dev")
set(CPACK_DEBIAN_DEV_PACKAGE_RECOMMENDS "pkg-config")
set(CPACK_COMPONENT_DEV_DESCRIPTION "${PROJECT_DESCRIPTION} - development files
 Headers (the exported functions and the C++ layer sprig/sprig.hpp),
 sprig.pc and the CMake package (find_package(sprig), sprig::sprig) for
 building hosts against libsprig. ${sprig_licence}")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME sprig-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libsprig0 ${sprig_exact}")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "${PROJECT_DESCRIPTION} - command-line tool
 sprig: packs, unpacks, checks and describes packed pictures, draws them as
 sprites show them, fingerprints picture files and runs the sprite engine's
 demo scene. ${sprig_licence}")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-sprig)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "libsprig0 ${sprig_exact}, python3")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "${PROJECT_DESCRIPTION} - Python module
 The sprite engine from Python 3. ${sprig_licence}")

include(CPack)
