# 32-bit x86 Linux with the host's multilib compiler (Debian: g++-multilib).
# Used by -DORV_M32=ON and by the x86 preset; any other 32-bit toolchain file
# works the same way, since the build looks only at the pointer size.
foreach(kind C CXX ASM)
  set(CMAKE_${kind}_FLAGS_INIT -m32)
endforeach()
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT -m32)
endforeach()
