# Shared by all targets.

add_library(orvane_warnings INTERFACE)
target_compile_options(orvane_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                                                 $<$<BOOL:${ORVANE_WERROR}>:-Werror>
                                                 # Some pragmas name warnings of GCC.
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

# Hardening, because this runs as root. Sanitizers bring their own.
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

# A target of the product: one source unit, only public names visible, only the C library at run time. -O3 makes the
# library a page larger and no benchmark faster.
function(orvane_product target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti -fno-threadsafe-statics
                                           -fno-semantic-interposition $<$<CONFIG:Release>:-O2>)
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-Bsymbolic-functions)
  # A preloaded library goes into programs without sanitizers, and defines names that fortified headers redefine.
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
