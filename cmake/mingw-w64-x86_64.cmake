# Cross build for 64-bit Windows with Debian's mingw-w64 toolchain (posix thread model, needed
# for std::thread). Third-party libraries come only from the mingw sysroot and from the private
# prefix made by scripts/build-windows-deps.sh; test programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KESTRINE_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KESTRINE_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KESTRINE_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KESTRINE_MINGW_TRIPLE}-windres)

# The private prefix of cross-built libraries (jsoncpp, googletest, fmt and TCLAP headers).
get_filename_component(_kestrine_source_root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
set(KESTRINE_WINDOWS_DEPS "${_kestrine_source_root}/build/windows-deps/prefix"
    CACHE PATH "Prefix of the libraries cross-built by scripts/build-windows-deps.sh")
# try_compile projects read the toolchain file again: hand them the same prefix.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KESTRINE_WINDOWS_DEPS)

set(CMAKE_FIND_ROOT_PATH /usr/${KESTRINE_MINGW_TRIPLE} "${KESTRINE_WINDOWS_DEPS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Without static runtimes the programs need libwinpthread-1.dll and friends beside them, and
# Wine ends them with status 53 and no message.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++")

# add_test and gtest_discover_tests run the .exe files through this wrapper, which starts
# Wine's 64-bit loader with a private prefix under build/ unless WINEPREFIX is set.
set(CMAKE_CROSSCOMPILING_EMULATOR "${_kestrine_source_root}/scripts/wine-run.sh")
