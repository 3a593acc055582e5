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

set_property(GLOBAL PROPERTY TESSARY_PURE_LIBRARIES "")

# tessary_library(<name> PURE|SERVICE|PLATFORM|SURFACE|APP SOURCES ... LINKS ...)
# A PURE library is logic on QtCore alone; SERVICE may add QtNetwork/QtDBus/QtConcurrent.
# Both are checked at configure time never to reach QtGui or QtWidgets.
function(tessary_library name layer)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC tessary_compile_settings ${ARG_LINKS})
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
  set_target_properties(${name} PROPERTIES TESSARY_LAYER ${layer})
  if(layer STREQUAL "PURE" OR layer STREQUAL "SERVICE")
    set_property(GLOBAL APPEND PROPERTY TESSARY_PURE_LIBRARIES ${name})
  endif()
endfunction()

function(_tessary_collect_links target out_var)
  set(seen ${${out_var}})
  get_target_property(links ${target} LINK_LIBRARIES)
  get_target_property(iface ${target} INTERFACE_LINK_LIBRARIES)
  foreach(dep IN LISTS links iface)
    if(NOT dep OR dep MATCHES "NOTFOUND" OR dep MATCHES "^\\$<" OR dep IN_LIST seen)
      continue()
    endif()
    list(APPEND seen ${dep})
    if(TARGET ${dep})
      get_target_property(aliased ${dep} ALIASED_TARGET)
      if(aliased)
        list(APPEND seen ${aliased})
        set(dep ${aliased})
      endif()
      _tessary_collect_links(${dep} seen)
    endif()
  endforeach()
  set(${out_var} ${seen} PARENT_SCOPE)
endfunction()

# Fails the configure step when a pure or service library reaches Qt Gui or Widgets.
function(tessary_check_layers)
  get_property(pure GLOBAL PROPERTY TESSARY_PURE_LIBRARIES)
  foreach(lib IN LISTS pure)
    set(all "")
    _tessary_collect_links(${lib} all)
    foreach(forbidden Qt6::Gui Qt6::Widgets Qt6::GuiPrivate Qt::Gui Qt::Widgets)
      if(forbidden IN_LIST all)
        message(FATAL_ERROR "Layer check: ${lib} must not depend on ${forbidden}")
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
