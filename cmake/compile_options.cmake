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

# The include root is the repository root, for every target.
include_directories("${PROJECT_SOURCE_DIR}")
