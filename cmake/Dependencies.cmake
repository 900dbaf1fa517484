# Third-party libraries come from the system (Debian packages on Linux, the cross-built
# prefix made by scripts/build-windows-deps.sh for the Windows build). Nothing is vendored.
find_package(Threads REQUIRED)

if(WIN32)
  # The Windows build takes fmt's headers from the private prefix and compiles fmt inline.
  find_path(KESTRINE_FMT_INCLUDE_DIR fmt/format.h REQUIRED)
  add_library(kestrine_fmt INTERFACE)
  target_include_directories(kestrine_fmt SYSTEM INTERFACE ${KESTRINE_FMT_INCLUDE_DIR})
  target_compile_definitions(kestrine_fmt INTERFACE FMT_HEADER_ONLY)
  set(KESTRINE_FMT kestrine_fmt)
  # Win32 import libraries that the platform_windows forwarders need.
  set(KESTRINE_WIN32_LIBS gdi32 user32 advapi32 wintrust crypt32)
else()
  find_package(fmt CONFIG REQUIRED)
  set(KESTRINE_FMT fmt::fmt)
endif()
find_package(jsoncpp CONFIG REQUIRED)
if(TARGET JsonCpp::JsonCpp)
  set(KESTRINE_JSONCPP JsonCpp::JsonCpp)
elseif(TARGET jsoncpp_static)
  set(KESTRINE_JSONCPP jsoncpp_static)
else()
  set(KESTRINE_JSONCPP jsoncpp_lib)
endif()

find_path(TCLAP_INCLUDE_DIR tclap/CmdLine.h REQUIRED)
add_library(kestrine_tclap INTERFACE)
target_include_directories(kestrine_tclap SYSTEM INTERFACE ${TCLAP_INCLUDE_DIR})

if(KESTRINE_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
