/*
 * grab_frames: a minimal acquisition application for the simulated board.
 *
 * Opens board 0 with the Orvindel applet, lets the camera simulator of port 0
 * generate a horizontal gray ramp, sets a region of interest and 8-bit
 * output, grabs frames into a ring of four buffers with a time-out, checks
 * every pixel of every frame against the ramp, and closes the board.
 *
 * Build against the public headers and the runtime library (libtalrun5), see
 * CMakeLists.txt beside this file. Run with the applet library on the
 * library path (or its directory in TERVIK_APPLET_PATH).
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orvindel_params.h" /* parameter identities and enumeration constants */
#include "sim_board.h"

enum { PORT = 0, WIDTH = 256, HEIGHT = 64, XOFFSET = 32, BUFFERS = 8, TIMEOUT_S = 5 };

static int setU32(Fg_Struct* fg, int id, unsigned int value, const char* name) {
    int rc = Fg_setParameterWithType(fg, id, &value, PORT, FG_PARAM_TYPE_UINT32_T);
    if (rc != 0) fprintf(stderr, "grab_frames: setting %s = %u failed: %d\n", name, value, rc);
    return rc;
}

/* Every pixel of the ramp is its column in the generated line, modulo 256. */
static int checkFrame(const unsigned char* px, frameindex_t pic) {
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x)
            if (px[y * WIDTH + x] != (unsigned char)((XOFFSET + x) & 0xFF)) {
                fprintf(stderr, "grab_frames: frame %d: pixel (%d, %d) is %u, expected %u\n", (int)pic, x, y,
                        px[y * WIDTH + x], (unsigned)((XOFFSET + x) & 0xFF));
                return -1;
            }
    return 0;
}

int main(int argc, char** argv) {
    int frames = 20;
    if (argc > 1 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
        printf(
            "usage: grab_frames [FRAMES]\n"
            "Grabs FRAMES (default 20) frames of the camera simulator of port 0 of board 0\n"
            "and checks each of them; exit status 0 when all are right.\n");
        return 0;
    }
    if (argc > 1) {
        char* end = NULL;
        long n = strtol(argv[1], &end, 10);
        if (argc > 2 || *argv[1] == '\0' || *end != '\0' || n < 1 || n > 100000) {
            fprintf(stderr, "grab_frames: bad frame count '%s' (1 to 100000); see --help\n", argv[1]);
            return 2;
        }
        frames = (int)n;
    }

    Fg_Struct* fg = Fg_InitEx("Orvindel", 0, 0);
    if (fg == NULL) {
        fprintf(stderr, "grab_frames: cannot open board 0 with the applet Orvindel: %d\n", Fg_getLastErrorNumber(NULL));
        return 1;
    }
    int status = 1;
    dma_mem* ring = NULL;
    double lineRate = 6400.0; /* lines per second: 100 frames of 64 lines per second */
    if (setU32(fg, FG_CAMERASIMULATOR_ENABLE, 1, "FG_CAMERASIMULATOR_ENABLE") ||
        setU32(fg, FG_CAMERASIMULATOR_PATTERN, FG_HORIZONTAL, "FG_CAMERASIMULATOR_PATTERN") ||
        setU32(fg, FG_CAMERASIMULATOR_ROLL, 0, "FG_CAMERASIMULATOR_ROLL") || setU32(fg, FG_WIDTH, WIDTH, "FG_WIDTH") ||
        setU32(fg, FG_XOFFSET, XOFFSET, "FG_XOFFSET") || setU32(fg, FG_HEIGHT, HEIGHT, "FG_HEIGHT") ||
        setU32(fg, FG_FORMAT, FG_GRAY, "FG_FORMAT"))
        goto close;
    if (Fg_setParameterWithType(fg, FG_CAMERASIMULATOR_LINERATE, &lineRate, PORT, FG_PARAM_TYPE_DOUBLE) != 0) {
        fprintf(stderr, "grab_frames: setting FG_CAMERASIMULATOR_LINERATE failed: %d\n", Fg_getLastErrorNumber(fg));
        goto close;
    }

    FgFrameFormat format;
    if (Fg_getFrameFormatEx(fg, PORT, &format) != 0 || format.width != WIDTH || format.height != HEIGHT ||
        format.bytesPerPixel != 1) {
        fprintf(stderr, "grab_frames: the frame format is not the one programmed\n");
        goto close;
    }
    ring = Fg_AllocRingEx(fg, (size_t)format.frameBytes, BUFFERS);
    if (ring == NULL) {
        fprintf(stderr, "grab_frames: cannot allocate %d buffers of %llu bytes: %d\n", BUFFERS,
                (unsigned long long)format.frameBytes, Fg_getLastErrorNumber(NULL));
        goto close;
    }
    if (Fg_AcquireEx(fg, PORT, frames, 0, ring) != 0) {
        fprintf(stderr, "grab_frames: starting the acquisition failed: %d\n", Fg_getLastErrorNumber(fg));
        goto close;
    }
    int checked = 0, missed = 0;
    for (frameindex_t pic = 1; pic <= frames; ++pic) {
        frameindex_t last = Fg_getLastPicNumberBlockingEx(fg, pic, PORT, TIMEOUT_S, ring);
        if (last < pic) {
            fprintf(stderr, "grab_frames: waiting for frame %d: %d\n", (int)pic, (int)last);
            goto stop;
        }
        /* A frame the ring no longer holds (this program fell behind by
         * more than the ring) is skipped; the next wait catches up. */
        const unsigned char* px = (const unsigned char*)Fg_getPicturePtrEx(fg, pic, PORT, ring);
        if (px == NULL) {
            ++missed;
            continue;
        }
        if (checkFrame(px, pic) != 0) goto stop;
        ++checked;
    }
    printf("grab_frames: %d of %d frames of %ux%u pixels checked, %d overwritten before they were looked at\n", checked,
           frames, format.width, format.height, missed);
    if (checked == 0) goto stop;
    status = 0;
stop:
    Fg_stopAcquireEx(fg, PORT, ring, 0);
close:
    if (ring != NULL) Fg_FreeRingEx(fg, ring);
    Fg_FreeGrabber(fg);
    return status;
}
