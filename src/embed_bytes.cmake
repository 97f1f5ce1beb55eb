# The bytes of a file as the initialiser of a C++ unsigned char array,
# sixteen a line: sets ${bytes_var} to "0x..,0x..,..." and ${size_var} to
# the file's length in bytes. Shared by the scripts that build files into
# the programs (the help library, the browser host's page).
function(zenfit_file_bytes input bytes_var size_var)
  file(READ "${input}" hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REPEAT "0x..," 16 line)
  string(REGEX REPLACE "(${line})" "\\1\n    " bytes "${bytes}")
  string(LENGTH "${hex}" digits)
  math(EXPR size "${digits} / 2")
  set(${bytes_var} "${bytes}" PARENT_SCOPE)
  set(${size_var} "${size}" PARENT_SCOPE)
endfunction()
