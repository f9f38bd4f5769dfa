# Every target of ours gets the same warning set; third-party headers come in as SYSTEM.
function(velvora_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wno-unused-parameter)
endfunction()
