# The pages of the manual and the completion of shells: the command writes them itself, where what is
# built runs on this machine.
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  return()
endif()

set(pages ${CMAKE_CURRENT_BINARY_DIR}/man1)
set(scripts ${CMAKE_CURRENT_BINARY_DIR}/completion)
set(bash ${scripts}/lmi)
set(zsh ${scripts}/_lmi)
set(fish ${scripts}/lmi.fish)
set(written ${CMAKE_CURRENT_BINARY_DIR}/manual.written)

# Debian wants pages compressed, without a date or a name in them.
if(LMIMPORT_DEBIAN_PACKAGES)
  set(compress COMMAND gzip -9nr ${pages})
endif()
add_custom_command(OUTPUT ${written}
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${pages} ${scripts}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${pages} ${scripts}
  COMMAND lmi manual --all ${pages}
  ${compress}
  COMMAND lmi completion bash > ${bash}
  COMMAND lmi completion zsh > ${zsh}
  COMMAND lmi completion fish > ${fish}
  COMMAND ${CMAKE_COMMAND} -E touch ${written}
  DEPENDS lmi
  COMMENT "Writing the manual of lmi"
  VERBATIM)
add_custom_target(lmi_manual ALL DEPENDS ${written})

install(DIRECTORY ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT command)
install(FILES ${bash} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  COMPONENT command)
install(FILES ${zsh} DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
  COMPONENT command)
install(FILES ${fish} DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
  COMPONENT command)
