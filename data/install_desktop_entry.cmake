# Run by `cmake --install`: writes the desktop entry with the program's installed path, installs
# it, and, when installing for real rather than staging into DESTDIR, refreshes the desktop's
# caches of file types, entries and icons under the prefix so that the file manager knows the new
# types at once.

if(IS_ABSOLUTE "${VELVORA_BINDIR}")
  set(program "${VELVORA_BINDIR}/velvora")
else()
  set(program "${CMAKE_INSTALL_PREFIX}/${VELVORA_BINDIR}/velvora")
endif()
if(IS_ABSOLUTE "${VELVORA_DATADIR}")
  set(datadir "${VELVORA_DATADIR}")
else()
  set(datadir "${CMAKE_INSTALL_PREFIX}/${VELVORA_DATADIR}")
endif()

# A percent sign is doubled so that it is not read as a field code. An Exec argument with a
# reserved character goes in double quotes, with ", `, $ and \ escaped; the entry file's own
# escaping then doubles each backslash.
string(REPLACE "%" "%%" program "${program}")
if(program MATCHES "[ \t\n\"'\\\\><~|&;$*?#()`]")
  string(REPLACE "\\" "\\\\" program "${program}")
  string(REPLACE "\"" "\\\"" program "${program}")
  string(REPLACE "`" "\\`" program "${program}")
  string(REPLACE "$" "\\$" program "${program}")
  set(program "\"${program}\"")
  string(REPLACE "\\" "\\\\" program "${program}")
endif()
set(VELVORA_EXEC "${program}")
configure_file("${VELVORA_ENTRY_IN}" "${VELVORA_ENTRY_OUT}" @ONLY)
file(INSTALL DESTINATION "${datadir}/applications" TYPE FILE FILES "${VELVORA_ENTRY_OUT}")

if("$ENV{DESTDIR}" STREQUAL "")
  find_program(update_mime update-mime-database)
  find_program(update_desktop update-desktop-database)
  find_program(update_icons gtk-update-icon-cache)
  if(update_mime)
    execute_process(COMMAND "${update_mime}" "${datadir}/mime")
  endif()
  if(update_desktop)
    execute_process(COMMAND "${update_desktop}" -q "${datadir}/applications")
  endif()
  if(update_icons AND EXISTS "${datadir}/icons/hicolor/index.theme")
    execute_process(COMMAND "${update_icons}" -q -t "${datadir}/icons/hicolor")
  endif()
endif()
