# cmake -DPAGE=<html> -DSTYLES=<files> -DLIBRARY=<dygraph.min.js> -DMODULES=<files> -DOUTPUT=<file>
#       -P EmbedAssets.cmake
#
# Writes a C++ source file that holds the page, its style and its script; the modules are given in the order in which
# they need each other.
include(${CMAKE_CURRENT_LIST_DIR}/../../report/page/PageScript.cmake)
page_script(script "${LIBRARY}" ${MODULES})
set(style "")
foreach(file IN LISTS STYLES)
  file(READ "${file}" text)
  string(APPEND style "${text}")
endforeach()
file(READ "${PAGE}" page)
set(source "#include \"serve/PageAssets.h\"\n\nnamespace rksignal::page_assets {\n")
foreach(asset IN ITEMS page style script)
  string(APPEND source "\nconst std::string_view ${asset} = R\"asset(${${asset}})asset\";\n")
endforeach()
string(APPEND source "\n} // namespace rksignal::page_assets\n")
file(WRITE "${OUTPUT}" "${source}")
