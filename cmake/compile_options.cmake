# What every target is compiled with. Floating point must give the same bits on every machine:
# no contraction, no fast-math, and the x86-64 baseline unless a file asks for more by itself.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_compile_options(-ffp-contract=off -fno-fast-math -Wall -Wextra -Wpedantic -Wshadow
                    -Wnon-virtual-dtor -Wcast-align -Wundef)
if(CM_WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()

# Hardening: none of it touches arithmetic. What a compiler lacks for its processor is left out.
# Of cf-protection only the instructions (endbr64) are in the binaries: the linker marks a binary for
# IBT and SHSTK only if every object has the mark, and Debian's start files lack it. The marks are
# not forced, since they would promise what those files do not keep.
include(CheckPIESupported)
include(CheckCXXCompilerFlag)
check_pie_supported(LANGUAGES CXX)
add_compile_options(-fstack-protector-strong)
add_link_options(LINKER:-z,relro,-z,now)
foreach(flag IN ITEMS stack-clash-protection cf-protection)
  string(MAKE_C_IDENTIFIER "CM_HAS_${flag}" has_flag)
  check_cxx_compiler_flag(-f${flag} ${has_flag})
  if(${has_flag})
    add_compile_options(-f${flag})
  endif()
endforeach()
# The sanitizers watch the same calls by themselves, and without optimisation nothing is checked.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  add_compile_options("$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()

# The include root is the repository root, for every target.
include_directories("${PROJECT_SOURCE_DIR}")
