// "boardsimaacdec": stands in for the board's AAC decoder, so that files with a sound track
// pass discovery; it turns each AAC frame into silence of the same length.
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

GType boardsim_aac_dec_get_type(void);

G_END_DECLS
