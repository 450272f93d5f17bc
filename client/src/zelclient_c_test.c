/* The interface as a C program uses it, linked with the shared library. Ends with 0 when all is well. */
#include <stdio.h>
#include <string.h>

#include "zelclient.h"

static int failures;

static void expect(int holds, const char* what) {
    if (holds) return;
    ++failures;
    fprintf(stderr, "failed: %s\n", what);
}

int main(void) {
    zelclient_options options;
    zelclient* client = NULL;
    char why[256] = "";
    uint32_t width = 0;
    uint32_t height = 0;
    zelclient_frame frame = {0};

    zelclient_options_init(&options);
    expect(options.struct_size == sizeof options, "options know their size");
    expect(options.frames_in_flight == 1, "one frame in flight by default");
    options.host_program = "there-is-no-such-host";
    expect(zelclient_start(&options, &client, why, sizeof why) == ZELCLIENT_ERROR_HOST, "a missing host is told");
    expect(client == NULL, "no client after a failure");
    expect(strstr(why, "there-is-no-such-host") != NULL, "the reason names the program");
    expect(zelclient_network_size(1, &width, &height) == ZELCLIENT_OK && width == 640 && height == 360,
           "the larger network's size");
    expect(frame.kind == ZELCLIENT_KIND_MODEL, "a frame of which nothing is said is for the model");
    expect(zelclient_frame_size(ZELCLIENT_KIND_FACES, 0, &width, &height) == ZELCLIENT_OK, "frames for faces have a size");
    expect(width == 160 && height == 90, "it is 160x90");
    expect(strcmp(zelclient_gesture_name(5), "victory") == 0, "gestures have names");
    expect(strcmp(zelclient_version(), ZELCLIENT_VERSION) == 0, "header and library are of one version");
    zelclient_stop(NULL);
    return failures;
}
