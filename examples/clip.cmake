# keo_example_clip(target): the examples' clip, made by the build with GStreamer next to the
# program, as harbour-timelapse.ogv: 8 s of test pattern, video only (Theora in Ogg), which
# Debian's Qt Multimedia plays through GStreamer's base plugins.
function(keo_example_clip target)
  find_program(KEO_GST_LAUNCH gst-launch-1.0 REQUIRED)
  add_custom_command(OUTPUT harbour-timelapse.ogv
    COMMAND ${KEO_GST_LAUNCH} -q videotestsrc pattern=ball num-buffers=80
      ! video/x-raw,width=320,height=180,framerate=10/1 ! theoraenc ! oggmux
      ! filesink location=harbour-timelapse.ogv
    COMMENT "Making the example's clip with GStreamer" VERBATIM)
  add_custom_target(${target}-clip DEPENDS harbour-timelapse.ogv)
  add_dependencies(${target} ${target}-clip)
endfunction()
