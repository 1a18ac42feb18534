# Compiler options of every target. Floating point must give the same bits on every machine: no
# contraction, no fast-math, and the x86-64 baseline unless a file adds an instruction set.
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

# Hardening. None of these options affects arithmetic. Options that the compiler does not support for
# its target are omitted. With cf-protection the binaries contain endbr64 instructions, but no IBT and
# SHSTK marks: the linker sets them only if every object has them, and Debian's start files do not. The
# marks are not forced, because the start files do not meet their requirements.
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
# Not with sanitizers, which check the same calls, and not in Debug: it needs optimisation.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  add_compile_options("$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()

# All include paths start at the repository root.
include_directories("${PROJECT_SOURCE_DIR}")
