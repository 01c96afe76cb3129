# Warnings for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wnon-virtual-dtor)
# clang (the fuzz preset) spells gcc's -Wshadow=local as -Wshadow-uncaptured-local.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wshadow=local)
else()
  add_compile_options(-Wshadow-uncaptured-local)
endif()
# Data structures are packed byte for byte: JCHAR and 16-bit members sit at odd
# addresses by design, so taking their address is expected.
add_compile_options(-Wno-address-of-packed-member)
if(FAMOFLAS_WERROR)
  add_compile_options(-Werror)
endif()

if(FAMOFLAS_SANITIZE)
  # Alignment checks are off: the ABI packs JCHAR strings after 49-byte
  # MATH_NUMERIC members, so misaligned 16-bit loads are part of the contract
  # (x86-64 and AArch64 handle them).
  set(FAMOFLAS_SAN_FLAGS -fsanitize=address,undefined -fno-sanitize=alignment
      -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_compile_options(${FAMOFLAS_SAN_FLAGS})
  add_link_options(${FAMOFLAS_SAN_FLAGS})
endif()
