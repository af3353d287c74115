#ifndef SERVICE_PROBE_JPEG_END_H_
#define SERVICE_PROBE_JPEG_END_H_

// False when the JPEG that is open as DESCRIPTOR breaks off before its end-of-image marker. Two bytes are
// read of most files, and the whole of one that goes on behind its picture, unless 256 MiB of it hold no
// marker: such a one breaks off too.
[[nodiscard]] bool JpegIsComplete(int descriptor);

#endif  // SERVICE_PROBE_JPEG_END_H_
