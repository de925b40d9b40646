# What every target of the project has in common.

add_library(orvane_warnings INTERFACE)
target_compile_options(orvane_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                                                 $<$<BOOL:${ORVANE_WERROR}>:-Werror>
                                                 # A pragma may name a warning that only GCC has.
                                                 $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-warning-option>)

add_library(orvane_instrumentation INTERFACE) # for sanitizers or coverage
if(ORVANE_SANITIZE)
  target_compile_options(orvane_instrumentation INTERFACE -fsanitize=${ORVANE_SANITIZE} -fno-sanitize-recover=all
                                                     -fno-omit-frame-pointer)
  target_link_options(orvane_instrumentation INTERFACE -fsanitize=${ORVANE_SANITIZE})
endif()
if(ORVANE_COVERAGE)
  target_compile_options(orvane_instrumentation INTERFACE --coverage -O0)
  target_link_options(orvane_instrumentation INTERFACE --coverage)
endif()

# What is installed runs as root: the compiler's and the loader's guards are on. Sanitizers bring their own.
include(CheckPIESupported)
check_pie_supported()
add_library(orvane_hardening INTERFACE)
if(NOT ORVANE_SANITIZE)
  target_compile_options(orvane_hardening INTERFACE -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    target_compile_options(orvane_hardening INTERFACE -fcf-protection)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    target_compile_options(orvane_hardening INTERFACE -mbranch-protection=standard)
  endif()
  target_link_options(orvane_hardening INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

# A part of the product: one source unit, only the public names visible, nothing but the C library at run time. At
# -O3 the library is a page larger, and nothing that the benchmarks measure is faster.
function(orvane_product target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti -fno-threadsafe-statics
                                           -fno-semantic-interposition $<$<CONFIG:Release>:-O2>)
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-Bsymbolic-functions)
  # A preloaded library goes into programs that know no sanitizer, and defines what the fortified headers redefine.
  set(exports exports.map)
  if(ARGN STREQUAL "PRELOADED")
    set(exports simulator.map)
  else()
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:orvane_instrumentation>)
    if(NOT ORVANE_SANITIZE) # nor is anything fortified without optimisation
      target_compile_options(${target} PRIVATE
        "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    endif()
  endif()
  target_link_options(${target} PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/${exports})
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:orvane_warnings> $<BUILD_INTERFACE:orvane_hardening>)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden POSITION_INDEPENDENT_CODE ON
    UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
endfunction()
