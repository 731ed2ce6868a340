# Fails unless `document` shows the file `example` word for word.
file(READ ${example} code)
file(READ ${document} text)
string(FIND "${text}" "```cpp\n${code}```" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${document} does not show ${example} as it is")
endif()
