# Clips for the tests of Windows, whose FFmpeg has no encoder for these codecs: made by this machine's own, into the folder
# LUMO_CLIPS. "quarters" is red, green, blue and white; each picture of "numbered" shows its number as clip::numbered does.
find_program(LUMO_FFMPEG ffmpeg REQUIRED)
set(LUMO_CLIPS ${CMAKE_CURRENT_BINARY_DIR}/clips)
file(MAKE_DIRECTORY ${LUMO_CLIPS})
set(quarters "lum='if(lt(Y,H/2),if(lt(X,W/2),81,145),if(lt(X,W/2),41,235))':cb='if(lt(Y,H/2),if(lt(X,W/2),90,54),if(lt(X,W/2),240,128))':cr='if(lt(Y,H/2),if(lt(X,W/2),240,34),if(lt(X,W/2),110,128))'")
set(numbered "lum='if(mod(floor(N/pow(2,15-floor(X*16/W))),2),235,16)':cb=128:cr=128")
set(clips)
foreach(name quarters numbered)
  foreach(codec "h264 libx264 -x264-params scenecut=0" "h265 libx265 -x265-params log-level=none:pools=1:frame-threads=1")
    separate_arguments(codec)
    list(POP_FRONT codec ending encoder)
    set(clip ${LUMO_CLIPS}/${name}.${ending})
    add_custom_command(OUTPUT ${clip} DEPENDS ${CMAKE_CURRENT_LIST_FILE}
      COMMAND ${LUMO_FFMPEG} -v error -y -f lavfi -i "color=s=320x240:r=25,format=yuv420p,geq=${${name}}" -frames:v 12
        -c:v ${encoder} -preset ultrafast -tune zerolatency -crf 10 -g 5 -threads 1 ${codec} ${clip}
      VERBATIM)
    list(APPEND clips ${clip})
  endforeach()
endforeach()
add_custom_target(decode_clips DEPENDS ${clips})
