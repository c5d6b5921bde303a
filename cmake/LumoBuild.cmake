# What every target shares: the language, warnings, sanitizers, and where results land.
option(LUMO_BUILD_ENGINES "our own LumoNet and LumoDecode" ON)
option(LUMO_BUILD_APPS "host, recorder, picker" ON)
option(LUMO_BUILD_TESTS "tests and the recording libraries" ON)
option(LUMO_BUILD_BENCH "what scripts/bench runs" ON)
option(LUMO_ASSERTS "thread-affinity checks and other assertions, whatever the build type" OFF)
set(LUMO_VERSION_SERVER "" CACHE STRING "host of the version file server; empty: none unless the version file names one")
set(LUMO_SANITIZE "" CACHE STRING "empty, 'address' (with undefined) or 'thread'")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# The program, its libraries and its helpers stand in one folder, as they do when installed.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# RUNPATH, not RPATH: LD_LIBRARY_PATH must win, so that another pair of libraries can be put in front.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN")
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  add_link_options(LINKER:--enable-new-dtags)
endif()

find_program(LUMO_CCACHE ccache)
if(LUMO_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${LUMO_CCACHE})
endif()

if(LUMO_ASSERTS)
  add_compile_definitions(QT_FORCE_ASSERTS)
endif()
add_compile_options(-Wall -Wextra -Wno-unused-parameter)
if(LUMO_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(LUMO_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT LUMO_SANITIZE STREQUAL "")
  message(FATAL_ERROR "LUMO_SANITIZE must be empty, 'address' or 'thread'")
endif()

if(WIN32)
  # Windows 7 is the oldest that is served.
  add_compile_definitions(_WIN32_WINNT=0x0601 NOMINMAX)
  # What debuggers and crash reports show as a library is our own name for it.
  set(CMAKE_SHARED_LIBRARY_PREFIX "")
endif()

# lumo_numbers(TARGET DLL DEF): a library to link with, that imports the calls of DLL by their numbers in DEF alone. The
# linker's own import library goes by names, which other builds of the DLL need not have.
function(lumo_numbers target dll def)
  set(library ${CMAKE_BINARY_DIR}/numbers/lib${target}.a)
  set(numbers ${CMAKE_BINARY_DIR}/numbers/${target}.def)
  file(STRINGS ${def} lines REGEX "@[0-9]+")
  list(TRANSFORM lines APPEND " NONAME")
  list(JOIN lines "\n" text)
  file(CONFIGURE OUTPUT ${numbers} CONTENT "LIBRARY ${dll}\nEXPORTS\n@text@\n" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${def})
  add_custom_command(OUTPUT ${library} DEPENDS ${numbers}
    COMMAND ${CMAKE_DLLTOOL} --dllname ${dll} --input-def ${numbers} --output-lib ${library} VERBATIM)
  add_custom_target(${target}_made DEPENDS ${library})
  add_library(${target} INTERFACE)
  add_dependencies(${target} ${target}_made)
  target_link_libraries(${target} INTERFACE ${library})
endfunction()
