# How the project's own targets are built: one static library per folder, one test program per
# subject. Third-party headers are not held to these warnings.

add_library(lavkor_options INTERFACE)
target_compile_options(
    lavkor_options
    INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
              -Wold-style-cast -Wcast-qual -Wformat=2 -Wfloat-conversion)
target_compile_definitions(
    lavkor_options
    INTERFACE QT_DISABLE_DEPRECATED_BEFORE=0x060400 QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY
              QT_NO_URL_CAST_FROM_STRING QT_STRICT_ITERATORS
              QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
if(LAVKOR_WARNINGS_AS_ERRORS)
    target_compile_options(lavkor_options INTERFACE -Werror)
endif()
if(LAVKOR_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()

# lavkor_library(name HEADERS h... SOURCES cpp... LIBS lib...): a static library of this folder.
function(lavkor_library name)
    cmake_parse_arguments(ARG "" "" "HEADERS;SOURCES;LIBS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_sources(
        ${name}
        PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARG_HEADERS})
    target_link_libraries(${name} PUBLIC ${ARG_LIBS} PRIVATE lavkor_options)
endfunction()

# lavkor_test(folder subject LIBS lib... LABELS label...): the program tst_<folder>_<subject>, which
# ctest knows as <folder>.<subject>.
function(lavkor_test folder subject)
    cmake_parse_arguments(ARG "" "" "LIBS;LABELS;SOURCES" ${ARGN})
    set(target tst_${folder}_${subject})
    add_executable(${target} ${CMAKE_CURRENT_SOURCE_DIR}/tst_${subject}.cpp ${ARG_SOURCES})
    target_link_libraries(${target} PRIVATE ${ARG_LIBS} test_support Qt6::Test lavkor_options)
    add_test(NAME ${folder}.${subject} COMMAND ${target})
    # A hang must end, a slow machine must not matter.
    set(timeout 900)
    if(LAVKOR_SANITIZE)
        set(timeout 2700)
    endif()
    set_tests_properties(
        ${folder}.${subject} PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${timeout} ENVIRONMENT
                                        "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8")
endfunction()
