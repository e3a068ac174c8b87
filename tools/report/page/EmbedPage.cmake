# cmake -DPAGE=<folder> -DLIBRARY=<dygraph.min.js> -DMODULES=<names> -DOUTPUT=<file> -P EmbedPage.cmake
#
# Puts the page together from page.html, page.css, the plotting library and the modules in the order in which they need
# each other, and writes a C++ source file that holds it. The page's security policy names its script and its style by
# their hashes.

# The base64 of the SHA-256 of a text, as a content security policy has it.
function(sha256_base64 text result)
  set(digits "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
  string(SHA256 hash "${text}")
  string(APPEND hash "0000") # 34 bytes: the last of twelve groups is cut below
  set(encoded "")
  foreach(group RANGE 10)
    math(EXPR at "${group} * 6")
    string(SUBSTRING "${hash}" ${at} 6 bytes)
    foreach(shift IN ITEMS 18 12 6 0)
      math(EXPR digit "(0x${bytes} >> ${shift}) & 63")
      string(SUBSTRING "${digits}" ${digit} 1 digit)
      string(APPEND encoded "${digit}")
    endforeach()
  endforeach()
  string(SUBSTRING "${encoded}" 0 43 encoded)
  set(${result} "${encoded}=" PARENT_SCOPE)
endfunction()

include(${CMAKE_CURRENT_LIST_DIR}/PageScript.cmake)
list(TRANSFORM MODULES PREPEND "${PAGE}/")
list(TRANSFORM MODULES APPEND ".js")
page_script(script "${LIBRARY}" ${MODULES})
file(READ "${PAGE}/page.css" style)
if(script MATCHES "</script" OR style MATCHES "</style")
  message(FATAL_ERROR "The page's script or style would end its own element")
endif()

file(READ "${PAGE}/page.html" page)
sha256_base64("${script}" script_hash)
sha256_base64("${style}" style_hash)
string(REPLACE "{{script-hash}}" "sha256-${script_hash}" page "${page}")
string(REPLACE "{{style-hash}}" "sha256-${style_hash}" page "${page}")
string(REPLACE "{{style}}" "${style}" page "${page}")
string(REPLACE "{{script}}" "${script}" page "${page}")

# text_until(<mark> <name>): takes the text before the mark off `page`, as the definition of a name.
set(source "#include \"report/PageText.h\"\n\nnamespace rksignal::page_text {\n")
macro(text_until mark name)
  string(FIND "${page}" "${mark}" at)
  string(SUBSTRING "${page}" 0 ${at} text)
  string(LENGTH "${mark}" length)
  math(EXPR at "${at} + ${length}")
  string(SUBSTRING "${page}" ${at} -1 page)
  string(APPEND source "\nconst std::string_view ${name} = R\"page(${text})page\";\n")
endmacro()
text_until("{{drive}}" beforeDrive)
text_until("{{curves}}" beforeCurves)
string(APPEND source "\nconst std::string_view afterCurves = R\"page(${page})page\";\n")
string(APPEND source "\n} // namespace rksignal::page_text\n")
file(WRITE "${OUTPUT}" "${source}")
