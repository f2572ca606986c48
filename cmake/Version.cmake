# Writes what --version says: the tag or commit of a git checkout, else the release. Runs as a script at each build:
#   cmake -D SOURCE=DIR -D RELEASE=1.0.0 -D OUTPUT=FILE -P Version.cmake
set(version ${RELEASE})
find_package(Git QUIET)
if(GIT_FOUND AND EXISTS ${SOURCE}/.git)
  execute_process(COMMAND ${GIT_EXECUTABLE} describe --tags --match "v[0-9]*" --dirty
    WORKING_DIRECTORY ${SOURCE} OUTPUT_VARIABLE tag OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  execute_process(COMMAND ${GIT_EXECUTABLE} describe --always --exclude "*" --dirty
    WORKING_DIRECTORY ${SOURCE} OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(tag)
    string(SUBSTRING ${tag} 1 -1 version)
  elseif(commit)
    set(version "${RELEASE} (${commit})")
  endif()
endif()
set(text "#include \"host/Version.h\"\n\nstd::string ProgramVersion()\n{\n    return \"${version}\";\n}\n")
set(old "")
if(EXISTS ${OUTPUT})
  file(READ ${OUTPUT} old)
endif()
if(NOT text STREQUAL old)
  file(WRITE ${OUTPUT} "${text}")
endif()
