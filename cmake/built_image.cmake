# Makes a source of the files of the image that is built with the command, by which the command knows that image again:
# cmake -D FOLDER=... -D OUTPUT=... -P built_image.cmake
set(source "/* Made by the build of the files of the image beside the command. */\n#include \"image/built_image.h\"\n\n")
set(table "")
foreach(name update_config syntax_v510.txt system.conf.predefine signature.db)
  file(READ ${FOLDER}/${name} bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(MAKE_C_IDENTIFIER ${name} array)
  string(APPEND source "static const unsigned char ${array}[] = {${bytes}};\n")
  string(APPEND table "    {reinterpret_cast<const char *>(${array}), sizeof ${array}},\n")
endforeach()
file(WRITE ${OUTPUT} "${source}\nconst std::string_view command::built_image[4] = {\n${table}};\n")
