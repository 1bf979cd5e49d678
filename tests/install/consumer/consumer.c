/*
 * A small application built against the installed headers and runtime: opens
 * board 0 with the Orvindel applet, writes the image width of port 0, reads
 * it back, closes the board. Exit status 0 when the width read is the one
 * written.
 */
#include <stdio.h>

#include "sim_board.h"

int main(void) {
    const uint32_t written = 2048;
    Fg_Struct* fg = Fg_InitEx("Orvindel", 0, 0);
    if (fg == NULL) {
        fprintf(stderr, "consumer: Fg_InitEx(\"Orvindel\") failed: %d\n", Fg_getLastErrorNumber(NULL));
        return 1;
    }
    int rc = 0;
    uint32_t read = 0;
    const int id = Fg_getParameterIdByName(fg, "FG_WIDTH");
    if (id < 0) {
        fprintf(stderr, "consumer: FG_WIDTH unknown: %d\n", id);
        rc = 1;
    } else if (Fg_setParameterWithType(fg, id, &written, 0, FG_PARAM_TYPE_UINT32_T) != 0 ||
               Fg_getParameterWithType(fg, id, &read, 0, FG_PARAM_TYPE_UINT32_T) != 0) {
        fprintf(stderr, "consumer: FG_WIDTH access failed: %d\n", Fg_getLastErrorNumber(fg));
        rc = 1;
    } else if (read != written) {
        fprintf(stderr, "consumer: FG_WIDTH reads %u after writing %u\n", read, written);
        rc = 1;
    } else {
        printf("FG_WIDTH = %u\n", read);
    }
    if (Fg_FreeGrabber(fg) != 0) {
        fprintf(stderr, "consumer: Fg_FreeGrabber failed\n");
        rc = 1;
    }
    return rc;
}
