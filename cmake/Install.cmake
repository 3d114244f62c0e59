# Where `cmake --install` puts the agent: its default root folder, unless --prefix names another one.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX "/Library/Application Support/Korvane" CACHE PATH "The agent's root folder" FORCE)
endif()

install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/InstallFolders.cmake)
