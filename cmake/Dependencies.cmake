# Third-party libraries come from the system (Debian packages on Linux, the cross-built
# prefix made by scripts/build-windows-deps.sh for the Windows build). Nothing is vendored.
find_package(Threads REQUIRED)

find_package(fmt CONFIG REQUIRED)
set(KESTRINE_FMT fmt::fmt)
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
