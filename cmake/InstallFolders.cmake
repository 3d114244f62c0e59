# Makes the folders in which root's service and the users' programs meet, and the log that both write. Run by
# `cmake --install`; what is there already stays.
set(default_root "/Library/Application Support/Korvane")
set(root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")

# By the place of a program its root folder is told: in a "Korvane" it is always the default one.
get_filename_component(name "${CMAKE_INSTALL_PREFIX}" NAME)
if(name STREQUAL "Korvane" AND NOT CMAKE_INSTALL_PREFIX STREQUAL default_root)
  message(FATAL_ERROR "Programs in ${CMAKE_INSTALL_PREFIX}/bin would take ${default_root} for their root folder: "
                      "install there, or give the folder another name than \"Korvane\"")
endif()

if(name STREQUAL "Korvane")
  set(common "$ENV{DESTDIR}/usr/local/Korvane/common")
else()
  set(common "${root}/usr/common")
endif()

function(set_mode mode path)
  execute_process(COMMAND chmod ${mode} "${path}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# folder(MODE PATH): a folder, and no link to one, with exactly that mode. Those above it that are missing are for
# everybody to read, whatever mask the administrator has.
function(folder mode path)
  if(IS_SYMLINK "${path}")
    message(FATAL_ERROR "${path} is a link; remove it")
  endif()
  get_filename_component(above "${path}" DIRECTORY)
  if(NOT EXISTS "${above}")
    folder(0755 "${above}")
  endif()
  file(MAKE_DIRECTORY "${path}")
  set_mode(${mode} "${path}")
endfunction()

foreach(path "${root}" "${root}/bin" "${root}/data" "${root}/Scans" "${root}/sdcache" "${common}")
  folder(0755 "${path}")
endforeach()
folder(0755 "${root}/tmp")
# Root's alone, so that nobody takes the dispatcher's names; made before others may write beside it.
folder(0755 "${root}/tmp/socket")
# Everybody makes files here and nobody replaces another's.
folder(1777 "${root}/tmp")
folder(1777 "${root}/data/pids")

file(TOUCH "${root}/Korvane.log")
set_mode(0666 "${root}/Korvane.log")
