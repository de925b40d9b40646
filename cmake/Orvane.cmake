# What every target of the project has in common.

add_library(orvane_warnings INTERFACE)
target_compile_options(orvane_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                                                 $<$<BOOL:${ORVANE_WERROR}>:-Werror>)
add_library(orvane_sanitizers INTERFACE)
if(ORVANE_SANITIZE)
  target_compile_options(orvane_sanitizers INTERFACE -fsanitize=${ORVANE_SANITIZE} -fno-sanitize-recover=all
                                                     -fno-omit-frame-pointer)
  target_link_options(orvane_sanitizers INTERFACE -fsanitize=${ORVANE_SANITIZE})
endif()

# A part of the product: one source unit, only the public names visible, nothing but the C library at run time.
function(orvane_product target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR})
  target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti -fno-threadsafe-statics
                                           -fno-semantic-interposition)
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-Bsymbolic-functions)
  if(NOT ARGN STREQUAL "PRELOADED") # a preloaded library goes into programs that know no sanitizer
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:orvane_sanitizers>)
  endif()
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:orvane_warnings>)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden POSITION_INDEPENDENT_CODE ON
    UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
endfunction()
