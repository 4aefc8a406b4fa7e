# Fails when an inline function or template instance of the colour module,
# emitted as a weak (COMDAT) symbol, contains SSSE3, SSE4, AVX or AVX-512
# instructions outside a per-target namespace (N_SSE4, N_AVX2, N_AVX3 of
# Highway, or ozu::sse4 / ozu::avx2 / ozu::avx512 of hand-written kernels).
#
# Such a symbol is the trap of run-time dispatch: the linker keeps one copy
# of each weak symbol, and a copy compiled for a wider target would then also
# serve the baseline callers, which would stop an older processor with an
# illegal instruction. Non-weak functions may carry any target; they are only
# reached through the dispatch tables.
#
# Usage: cmake -DOBJDUMP=... -DNM=... "-DOBJECTS=a.o;b.o" -P baseline_isa.cmake
if(NOT OBJDUMP OR NOT NM OR NOT OBJECTS)
  message(FATAL_ERROR "OBJDUMP, NM and OBJECTS are required")
endif()

# Mangled namespace components that mark per-target code.
set(per_target "(6N_SSE4|6N_AVX2|6N_AVX3|4sse4|4avx2|6avx512)")
# Instructions beyond the x86-64 baseline: any VEX/EVEX form (v...), the
# wide and mask registers, and the SSSE3 / SSE4 ones the compiler may pick.
set(wide "%[yz]mm|%k[0-7]|\t(v[a-z0-9]+|pmulld|pminsd|pmaxsd|pminud|pmaxud|pminsb|pmaxsb|pminuw|pmaxuw|pmovzx[a-z]+|pmovsx[a-z]+|pblendw|blendps|blendpd|blendvps|blendvpd|pblendvb|ptest|pextr[bdq]|pinsr[bdq]|packusdw|pcmpeqq|pcmpgtq|roundps|roundss|roundpd|roundsd|dpps|dppd|insertps|extractps|pmuldq|pshufb|palignr|pabs[bwd]|phadd[wd]|phsub[wd]|pmaddubsw|pmulhrsw|psign[bwd]) ")

set(bad "")
set(checked 0)
foreach(object ${OBJECTS})
  execute_process(COMMAND ${NM} --defined-only ${object}
    OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "nm failed on ${object}")
  endif()
  string(REGEX MATCHALL "[0-9a-fA-F]+ [WV] [^\n]+" weak_lines "${symbols}")
  set(weak "|")
  foreach(line ${weak_lines})
    string(REGEX REPLACE "^[0-9a-fA-F]+ [WV] " "" name "${line}")
    string(APPEND weak "${name}|")
  endforeach()

  set(listing ${CMAKE_CURRENT_BINARY_DIR}/baseline_isa.lst)
  execute_process(COMMAND ${OBJDUMP} -d --no-show-raw-insn ${object}
    OUTPUT_FILE ${listing} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "objdump failed on ${object}")
  endif()
  file(STRINGS ${listing} lines REGEX "^[0-9a-f]+ <[^>]+>:$|${wide}")
  set(suspect FALSE)
  foreach(line ${lines})
    if(line MATCHES "^[0-9a-f]+ <([^>]+)>:$")
      set(function ${CMAKE_MATCH_1})
      string(FIND "${weak}" "|${function}|" at)
      set(suspect FALSE)
      if(NOT at EQUAL -1 AND NOT function MATCHES "${per_target}")
        set(suspect TRUE)
        math(EXPR checked "${checked} + 1")
      endif()
    elseif(suspect)
      get_filename_component(file ${object} NAME)
      list(APPEND bad "${file}: ${function}")
      set(suspect FALSE)
    endif()
  endforeach()
endforeach()
file(REMOVE ${CMAKE_CURRENT_BINARY_DIR}/baseline_isa.lst)

if(checked EQUAL 0)
  message(FATAL_ERROR "no weak function found outside the per-target namespaces: nothing was checked")
endif()
if(bad)
  list(REMOVE_DUPLICATES bad)
  string(REPLACE ";" "\n  " text "${bad}")
  message(FATAL_ERROR "weak symbols with instructions beyond the baseline:\n  ${text}")
endif()
message(STATUS "${checked} weak functions outside the per-target namespaces use baseline instructions only")
