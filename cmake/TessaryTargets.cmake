# Shared compile settings, library helpers and the layer check.

add_library(tessary_compile_settings INTERFACE)
target_compile_features(tessary_compile_settings INTERFACE cxx_std_20)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
target_compile_definitions(tessary_compile_settings INTERFACE
  QT_NO_CAST_FROM_ASCII
  QT_NO_CAST_TO_ASCII
  QT_NO_CONTEXTLESS_CONNECT
  QT_NO_URL_CAST_FROM_STRING
  QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
  QT_USE_QSTRINGBUILDER
  QT_STRICT_ITERATORS
  TESSARY_VERSION="${PROJECT_VERSION}")
target_compile_options(tessary_compile_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align
  -Wnull-dereference -Wimplicit-fallthrough -Wno-missing-field-initializers)
if(TESSARY_WERROR OR "$ENV{CI}" STREQUAL "true")
  target_compile_options(tessary_compile_settings INTERFACE -Werror)
endif()
if(TESSARY_SANITIZE)
  target_compile_options(tessary_compile_settings INTERFACE
    -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(tessary_compile_settings INTERFACE -fsanitize=address,undefined)
endif()

# The layers, from the bottom, with the layers each may link and the Qt modules each may use. A
# library links only what its layer names; the app's composition root (src/app) picks the backends.
#   PURE          logic on QtCore alone: records, rules, geometry, parsers
#   SERVICE       monitors, providers, the listener: QtCore and the networking modules
#   PLATFORM_API  one small interface per facility (and the /proc reader, whose root is its seam)
#   BACKEND       the implementations of those interfaces for this platform, and the tests' fakes
#   SURFACE       Qt Widgets: what stands on the screen; it knows the interfaces, never a backend
#   APP           the windows, AppDelegate and main: everything, and the one place backends are chosen
set(TESSARY_LAYER_LINKS_PURE PURE)
set(TESSARY_LAYER_LINKS_SERVICE PURE SERVICE PLATFORM_API)
set(TESSARY_LAYER_LINKS_PLATFORM_API PURE PLATFORM_API)
set(TESSARY_LAYER_LINKS_BACKEND PURE PLATFORM_API BACKEND)
set(TESSARY_LAYER_LINKS_SURFACE PURE SERVICE PLATFORM_API SURFACE)
set(TESSARY_LAYER_LINKS_APP PURE SERVICE PLATFORM_API BACKEND SURFACE APP)
set(TESSARY_LAYER_QT_PURE Core)
set(TESSARY_LAYER_QT_SERVICE Core Network DBus Concurrent WebSockets)
set(TESSARY_LAYER_QT_PLATFORM_API Core)
set(TESSARY_LAYER_QT_BACKEND Core Gui GuiPrivate DBus Network)
set(TESSARY_LAYER_QT_SURFACE Core Gui Widgets Svg Network DBus Concurrent)
set(TESSARY_LAYER_QT_APP Core Gui Widgets Svg Network DBus Concurrent WebSockets)
set_property(GLOBAL PROPERTY TESSARY_LIBRARIES "")

# tessary_library(<name> PURE|SERVICE|PLATFORM_API|BACKEND|SURFACE|APP SOURCES ... LINKS ...)
function(tessary_library name layer)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  if(NOT DEFINED TESSARY_LAYER_LINKS_${layer})
    message(FATAL_ERROR "tessary_library(${name}): unknown layer ${layer}")
  endif()
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC tessary_compile_settings ${ARG_LINKS})
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
  set_target_properties(${name} PROPERTIES TESSARY_LAYER ${layer})
  set_property(GLOBAL APPEND PROPERTY TESSARY_LIBRARIES ${name})
endfunction()

# Fails the configure step on any link that a library's layer does not name: to a library of
# another layer, or to a Qt module the layer may not use. Every library's own links are checked, so
# what a library reaches through them is allowed too.
function(tessary_check_layers)
  get_property(libraries GLOBAL PROPERTY TESSARY_LIBRARIES)
  foreach(lib IN LISTS libraries)
    get_target_property(layer ${lib} TESSARY_LAYER)
    get_target_property(links ${lib} LINK_LIBRARIES)
    get_target_property(iface ${lib} INTERFACE_LINK_LIBRARIES)
    foreach(dep IN LISTS links iface)
      if(NOT dep OR dep MATCHES "NOTFOUND" OR dep MATCHES "^\\$<" OR dep STREQUAL "tessary_compile_settings")
        continue()
      endif()
      if(dep MATCHES "^Qt6?::(.+)$")
        if(NOT CMAKE_MATCH_1 IN_LIST TESSARY_LAYER_QT_${layer})
          message(FATAL_ERROR "Layer check: ${lib} (${layer}) must not use ${dep}")
        endif()
      elseif(TARGET ${dep})
        get_target_property(depLayer ${dep} TESSARY_LAYER)
        if(depLayer AND NOT depLayer IN_LIST TESSARY_LAYER_LINKS_${layer})
          message(FATAL_ERROR "Layer check: ${lib} (${layer}) must not link ${dep} (${depLayer})")
        endif()
      endif()
    endforeach()
  endforeach()
endfunction()

# tessary_test(<name> SOURCES ... LINKS ... [GUI] [X11] [LABELS ...])
# Every test runs with its own HOME and XDG folders so that no user file is touched.
function(tessary_test name)
  cmake_parse_arguments(ARG "GUI;X11" "TIMEOUT" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE tessary_compile_settings Qt6::Test ${ARG_LINKS})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/tests")
  set(runner "${PROJECT_SOURCE_DIR}/tests/support/run-test")
  if(ARG_X11)
    add_test(NAME ${name} COMMAND ${runner} --x11 $<TARGET_FILE:${name}>)
  else()
    add_test(NAME ${name} COMMAND ${runner} $<TARGET_FILE:${name}>)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set(env "QT_QPA_PLATFORM=offscreen"
          "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/lsan.supp:print_suppressions=0"
          "ASAN_OPTIONS=detect_stack_use_after_return=1"
          "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1"
          "TESSARY_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
  if(ARG_X11)
    list(REMOVE_ITEM env "QT_QPA_PLATFORM=offscreen")
    list(APPEND env "QT_QPA_PLATFORM=xcb")
  endif()
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${env}" TIMEOUT ${ARG_TIMEOUT}
                       LABELS "${ARG_LABELS}")
endfunction()

# tessary_fuzz_target(<name> SOURCES ... LINKS ... CORPUS <folder>)
# The sources define LLVMFuzzerTestOneInput. In normal builds the target replays its corpus as a
# CTest test (so every `make test` runs it under the sanitizers); with TESSARY_BUILD_FUZZ it is a
# libFuzzer binary.
function(tessary_fuzz_target name)
  cmake_parse_arguments(ARG "" "CORPUS" "SOURCES;LINKS" ${ARGN})
  add_executable(fuzz_${name} ${ARG_SOURCES})
  target_link_libraries(fuzz_${name} PRIVATE tessary_compile_settings ${ARG_LINKS})
  target_include_directories(fuzz_${name} PRIVATE "${PROJECT_SOURCE_DIR}/src")
  if(TESSARY_BUILD_FUZZ)
    target_compile_options(fuzz_${name} PRIVATE -fsanitize=fuzzer,address,undefined)
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  else()
    target_sources(fuzz_${name} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/support/ReplayMain.cpp")
    if(TESSARY_BUILD_TESTS)
      add_test(NAME fuzz_${name} COMMAND fuzz_${name} "${ARG_CORPUS}")
      set_tests_properties(fuzz_${name} PROPERTIES LABELS fuzz ENVIRONMENT
        "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/lsan.supp")
    endif()
  endif()
  set_property(GLOBAL APPEND PROPERTY TESSARY_FUZZ_TARGETS fuzz_${name})
endfunction()

# tessary_benchmark(<name> SOURCES ... LINKS ...): a Google Benchmark binary run by `make bench`.
function(tessary_benchmark name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(bench_${name} ${ARG_SOURCES})
  target_link_libraries(bench_${name} PRIVATE tessary_compile_settings benchmark::benchmark ${ARG_LINKS})
  target_include_directories(bench_${name} PRIVATE "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/bench")
endfunction()
