# What is built into Windows binaries beside code: version information and type libraries.
if(NOT WIN32)
  function(vantor_version_resource)
  endfunction()
  return()
endif()
enable_language(RC)

# vantor_version_resource(target file_name description): version information with the project's version.
function(vantor_version_resource target VERSION_FILE VERSION_DESCRIPTION)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    set(VERSION_FILE_TYPE VFT_APP)
  else()
    set(VERSION_FILE_TYPE VFT_DLL)
  endif()
  set(file ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${file} @ONLY)
  target_sources(${target} PRIVATE ${file})
endfunction()

# vantor_type_library(idl tlb): compiles the type library with the system's compiler of interfaces.
function(vantor_type_library idl tlb)
  if(MSVC)
    if(CMAKE_SIZEOF_VOID_P EQUAL 8)
      set(environment x64)
    else()
      set(environment win32)
    endif()
    add_custom_command(OUTPUT ${tlb} COMMAND midl /nologo /env ${environment} /tlb ${tlb} /h nul /iid nul /proxy nul
                       /dlldata nul ${idl} DEPENDS ${idl} VERBATIM)
    return()
  endif()
  find_program(WIDL ${VANTOR_MINGW}-widl REQUIRED)
  # The imported interfaces and the standard library come with the headers of the native build.
  find_path(WIDL_IMPORTS oaidl.idl PATHS /usr/include/wine/wine/windows /usr/include/wine/windows NO_DEFAULT_PATH
            NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  file(GLOB places /usr/lib/*/wine/*-windows /usr/lib/wine/*-windows /usr/lib/*/wine/fakedlls)
  find_path(STANDARD_TYPE_LIBRARY stdole2.tlb PATHS ${places} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(bits --win64)
  else()
    set(bits --win32)
  endif()
  # The compiler writes the time of day into the library, in words too; it is to be that of the sources, where it is known.
  set(time 0)
  if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(time $ENV{SOURCE_DATE_EPOCH})
  endif()
  add_custom_command(OUTPUT ${tlb}
    COMMAND ${CMAKE_COMMAND} -E env WIDL_TIME_OVERRIDE=${time} TZ=UTC ${WIDL} ${bits} -t -I${WIDL_IMPORTS} -L ${STANDARD_TYPE_LIBRARY} -o ${tlb} ${idl} DEPENDS ${idl} VERBATIM)
endfunction()
