# Makes a source of page.tpl, page.css and page.js, so that the command needs no file of its own to make a page:
# cmake -D FOLDER=... -D FLEET=... -D OUTPUT=... -P page_parts.cmake
set(source "/* Made by the build of the files beside page.cpp. */\n#include \"report/page_parts.h\"\n\nnamespace command {\n\n")
foreach(part template:tpl style:css script:js)
  string(REPLACE ":" ";" part ${part})
  list(GET part 0 name)
  list(GET part 1 suffix)
  file(READ ${FOLDER}/page.${suffix} text)
  string(APPEND source "const std::string_view page_${name} = R\"~part~(${text})~part~\";\n")
endforeach()
file(READ ${FLEET}/index.tpl text)
string(APPEND source "const std::string_view fleet_template = R\"~part~(${text})~part~\";\n")
file(WRITE ${OUTPUT} "${source}\n} // namespace command\n")
