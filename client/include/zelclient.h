#ifndef ZELCLIENT_H
#define ZELCLIENT_H

#include <stddef.h>
#include <stdint.h>

/*
 * Client library of zelhost: starts a host process, hands it frames and gives back what was found in them: person masks
 * and, with a Ladon model, faces, landmarks and gestures; faces alone; regions of a screen whose picture moves.
 *
 *     zelclient_options options;
 *     zelclient_options_init(&options);
 *     options.host_program = "/opt/zelhost/zelhost";
 *     zelclient* client = NULL;
 *     char why[256];
 *     if (zelclient_start(&options, &client, why, sizeof why) != ZELCLIENT_OK) { ... why says what to do ... }
 *
 *     zelclient_frame frame = {256, 144, 0, pixels, timestamp};
 *     zelclient_submit(client, &frame);
 *     zelclient_result result;
 *     if (zelclient_wait(client, 100, &result) == ZELCLIENT_OK && result.status == ZELCLIENT_MASK) { ... result.mask ... }
 *     if (zelclient_get_state(client) != ZELCLIENT_READY) { ... do not show the picture without its mask ... }
 *
 *     zelclient_stop(client);
 *
 * The library answers the host's heart beat, reads everything that the host says, notices at once when the host is gone,
 * starts another and goes on. What a host leaves when it crashes, a report and a dump, stays where it is for people to
 * read: zelclient_last_error names them, docs/crash.md tells what is in them. The library writes nothing to the standard
 * streams. No call waits for the host, except where a time-out is given and in zelclient_stop, which is bounded.
 *
 * Threads: every function may be called from any thread at any time, with three exceptions: zelclient_stop must be the
 * last call on its client and must not be made from a callback; zelclient_poll and zelclient_wait are for one thread at
 * a time; zelclient_start and zelclient_stop of different clients may run side by side. Callbacks run on threads of the
 * library, one at a time for each kind; a callback may call any function but zelclient_stop and should be short: while
 * on_log runs, a host that logs more than its channel holds waits.
 *
 * Ownership: what a caller passes in is copied or used up before the call returns. What a callback or a result points at
 * is the library's; each function says for how long it may be read.
 */

#ifdef __cplusplus
extern "C" {
#endif

#define ZELCLIENT_VERSION "0.1.0"

/* One host and its client. */
typedef struct zelclient zelclient;

/* What a function returns. */
typedef enum zelclient_error {
    ZELCLIENT_OK = 0,
    ZELCLIENT_ERROR_ARGUMENT = 1, /* a null pointer, a frame or a number out of range; nothing has changed */
    ZELCLIENT_ERROR_HOST = 2,     /* the host program is missing or could not be started */
    ZELCLIENT_ERROR_CHANNELS = 3, /* the shared memory could not be had: too small, or not ours */
    ZELCLIENT_ERROR_FAILED = 4,   /* the client has given up (ZELCLIENT_FAILED); zelclient_last_error says why */
    ZELCLIENT_ERROR_MEMORY = 5,   /* no memory or no thread left */
    ZELCLIENT_TIMEOUT = 6         /* what was waited for has not come in the time given */
} zelclient_error;

/* Where the client stands. Show a picture as masked only while this is ZELCLIENT_READY. */
typedef enum zelclient_state {
    ZELCLIENT_STARTING = 0, /* a host has been started, also after one died, and has not answered yet */
    ZELCLIENT_WARMING = 1,  /* the host answers; it loads the model, or no mask has come from it yet. A client that asks
                               for faces and content only stays here */
    ZELCLIENT_READY = 2,    /* the newest mask is at most stale_after_ms old */
    ZELCLIENT_STALE = 3,    /* the newest mask is older than that */
    ZELCLIENT_FAILED = 4    /* no masks will come: the model was refused, or hosts keep ending; see zelclient_last_error */
} zelclient_state;

/* What became of a frame. Every accepted frame gets exactly one result; those of frames that the host took come in the
   order of acceptance. */
typedef enum zelclient_status {
    ZELCLIENT_MASK = 0,           /* here is its mask, and with a Ladon model the rest */
    ZELCLIENT_FRAME_FAILED = 1,   /* the host took the frame and gave no answer, or one that makes no sense; its log and
                                     zelclient_last_error say why */
    ZELCLIENT_FRAME_REPLACED = 2, /* a newer frame took its place before the host was free */
    ZELCLIENT_FRAME_LOST = 3,     /* the host ended while it had the frame */
    ZELCLIENT_BOXES = 4,          /* a frame for faces or content: here are its boxes, which may be none */
    ZELCLIENT_NO_RESULT = 5       /* a frame for content: the host keeps it for a later result, or failed at it */
} zelclient_status;

/* Model types, as the host numbers them. */
#define ZELCLIENT_MODEL_IDLE 0u
#define ZELCLIENT_MODEL_MODULE 1u /* through the library qorml beside the host; masks of pictures of any size of up to
                                     230400 pixels. Chosen again with another capacity it gives none until
                                     ZELCLIENT_MODEL_IDLE or another type was chosen in between */
#define ZELCLIENT_MODEL_SEGMENTATION_AUTO 2u /* on the GPU where the host finds one, else on the CPU */
#define ZELCLIENT_MODEL_SEGMENTATION_CPU 3u
#define ZELCLIENT_MODEL_LADON_AUTO 6u /* on the GPU where the host finds one, else type 7 comes into force */
#define ZELCLIENT_MODEL_LADON_CPU 7u
#define ZELCLIENT_MODEL_LADON_XNN_AUTO 8u /* the same through the library xnn, with a colour table; else type 9 */
#define ZELCLIENT_MODEL_LADON_XNN_CPU 9u
#define ZELCLIENT_MODEL_LADON_XNN_NPU 10u

/* What a frame asks for. Faces and content are looked for whatever model is in force, ZELCLIENT_MODEL_IDLE included. */
typedef enum zelclient_kind {
    ZELCLIENT_KIND_MODEL = 0,  /* what the model in force gives: a mask, with a Ladon model also the rest */
    ZELCLIENT_KIND_FACES = 1,  /* faces in a picture of 160 x 90. One that takes the host longer than 50 ms fails, and so
                                  may the next */
    ZELCLIENT_KIND_CONTENT = 2 /* regions of a screen that move over three frames of one size; each third frame has a
                                  result, those before it ZELCLIENT_NO_RESULT. To have none replaced, submit each after
                                  the result of the one before */
} zelclient_kind;

/* One picture. */
typedef struct zelclient_frame {
    uint32_t width;        /* pixels, as zelclient_frame_size tells for the kind and the capacity, or any with
                              ZELCLIENT_MODEL_MODULE */
    uint32_t height;       /* pixels; width * height is at most 307200, for the module 230400. Content: at most 512 each
                              way */
    uint32_t stride;       /* bytes from one row to the next; 0 for rows without padding */
    const uint8_t* pixels; /* rows from the top, three bytes a pixel: red, green, blue. Content: one byte, the grey */
    uint64_t tag;          /* the caller's own, given back with the result: a timestamp, a number */
    zelclient_kind kind;   /* ZELCLIENT_KIND_MODEL where nothing is said */
} zelclient_frame;

/* In pixels of the frame, x from its left and y from its top edge; may lie outside it. z is the distance behind the
   middle of the face, in the same unit: negative towards the camera. */
typedef struct zelclient_point {
    float x;
    float y;
    float z;
} zelclient_point;

/* Edges, in pixels of the frame; left <= right and top <= bottom. Not cut to the frame. */
typedef struct zelclient_rect {
    float left;
    float top;
    float right;
    float bottom;
} zelclient_rect;

/* What was found in a frame for faces or content; in whole pixels. */
typedef struct zelclient_box {
    zelclient_rect rect;
    float score;      /* content: 0 to 1; faces: 0, the host tells none */
    int32_t class_id; /* content: 0 all of the region moves, 1 a part of it, 2 a page that is scrolled or dragged, 3 it
                         has changed in one of the two intervals only; faces: 0 */
} zelclient_box;

#define ZELCLIENT_FACE_POINTS 478
#define ZELCLIENT_GESTURES 9
#define ZELCLIENT_LUT_SIDE 33

/* A face that a Ladon model has found. */
typedef struct zelclient_face {
    zelclient_rect rect;
    float score;                   /* above 0, to 1 */
    const zelclient_point* points; /* ZELCLIENT_FACE_POINTS of them: 0 to 467 the face mesh in its usual numbering, 468
                                      to 472 the iris of the eye round the points 33 and 133, centre first, 473 to 477
                                      that round 362 and 263; NULL for a face that got only a box. The library's */
} zelclient_face;

/* What a Ladon model gives beside the mask. Values that are no number come as 0, faces whose box is none not at all. */
typedef struct zelclient_ladon {
    const zelclient_face* faces; /* face_count of them, the likeliest first; NULL for none. The library's */
    uint32_t face_count;
    int32_t gesture;             /* of the strongest hand, 0 to 8, see zelclient_gesture_name; -1 for no hand */
    float gesture_scores[ZELCLIENT_GESTURES]; /* 0 to 1; all 0 when there is no hand */
    float motion;                /* mean change of the mask since the one before, 0 to 1 */
    uint32_t skip_run;           /* how many frames in a row have not changed; the host may have repeated its result */
    const float* lut;            /* colour table, 0 to 1: ZELCLIENT_LUT_SIDE^3 values for each output colour, by [output
                                    R, G, B][grid index of B][of G][of R]. With model types 8 to 10, but not while
                                    another model is being loaded; else NULL. The library's */
    const float* lut_vertices;   /* ZELCLIENT_LUT_SIDE ascending input values, 0 to 1, for each of R, G and B: where the
                                    grid lies. NULL together with lut. The library's */
    float lut_confidence;        /* how far the table can be trusted, 0 to 1; 0 without one */
} zelclient_ladon;

typedef struct zelclient_result {
    uint64_t tag;                 /* the frame's */
    zelclient_status status;
    uint32_t width;               /* the frame's, in pixels */
    uint32_t height;
    const uint8_t* mask;          /* width * height bytes without padding, 0 background to 255 person; NULL but for
                                     ZELCLIENT_MASK. The library's */
    uint64_t round_trip_us;       /* microseconds from the frame's entry into the host's channel to its result; 0 for a
                                     frame that never got there */
    zelclient_kind kind;          /* the frame's */
    const zelclient_box* boxes;   /* box_count of them, in the host's order; NULL for none, and but for
                                     ZELCLIENT_BOXES. The library's */
    uint32_t box_count;
    const zelclient_ladon* ladon; /* with ZELCLIENT_MASK from a Ladon model, else NULL. The library's */
} zelclient_result;

/* Figures since zelclient_start. */
typedef struct zelclient_info {
    int32_t host_pid;          /* process id of the host in use, 0 when there is none at this moment */
    uint32_t hosts_started;    /* 1 after the first start; each restart adds 1 */
    uint32_t model_type;       /* in force, as the host told it */
    char model_name[256];      /* of the network loaded last, "" before */
    uint64_t frames_accepted;  /* by zelclient_submit */
    uint64_t masks;            /* results by status */
    uint64_t frames_failed;
    uint64_t frames_replaced;
    uint64_t frames_lost;
    uint64_t box_results;
    uint64_t frames_without_result;
    uint64_t results_unread;   /* results that fell out of the queue because nobody polled */
    uint64_t beats;            /* heart beats answered */
    uint64_t log_lines;        /* log lines received whole */
} zelclient_info;

/* Callbacks; `user` is the options' pointer. */

/* A frame's result. `result` and all that it points at may be read until the callback returns. */
typedef void (*zelclient_on_result)(void* user, const zelclient_result* result);
/* The state has changed. Changes between READY and STALE are told within a tenth of a second. */
typedef void (*zelclient_on_state)(void* user, zelclient_state state);
/* A line of the host's log: level 0 failure, 1 warning, 2 progress; `text` has `length` bytes and a terminator. */
typedef void (*zelclient_on_log)(void* user, uint32_t level, const char* text, size_t length);

/* A trace_level: as the caller's own variable ZELHOST_TRACE says, 2 where it says nothing. */
#define ZELCLIENT_TRACE_INHERIT (-2)

typedef struct zelclient_options {
    uint32_t struct_size;           /* set by zelclient_options_init */
    const char* host_program;       /* path of the host, UTF-8; required */
    const char* const* environment; /* "NAME=value" texts up to a NULL, set for the host on top of the caller's own and
                                       of what trace_level sets; of two for one name the last. NULL for none */
    const char* host_stdout;        /* file that takes the host's standard output; NULL discards it */
    const char* host_stderr;        /* the same for its standard error; "inherit" leaves the caller's */
    const char* plugin_directory;   /* folder of the library xnn ("xnn.dll", "libxnn.so") for the model types 8 to 10,
                                       UTF-8, in full at most 255 bytes; NULL for the host program's own folder */
    uint32_t model_type;            /* first model, ZELCLIENT_MODEL_SEGMENTATION_CPU by default */
    uint32_t capacity;              /* 0 the smaller network, 1 the larger; 0 by default */
    uint32_t auto_skip;             /* 1 (default): the host may repeat its last mask while the picture stands still */
    uint32_t frames_in_flight;      /* how many frames are on their way at once, 1 (default) to 8: one in the host, the
                                       others waiting in order. The newest frame beyond them waits too; when one more
                                       comes, the oldest that waits is replaced. The host is given one frame at a time
                                       whatever the number, since its masks do not say whose they are */
    uint32_t stale_after_ms;        /* age of the newest mask at which READY becomes STALE, 500 by default */
    uint32_t hang_timeout_ms;       /* a host that gives no sign of life, or finishes no frame, for so long is killed and
                                       replaced; 15000 by default, 0 for never */
    uint32_t stop_timeout_ms;       /* how long zelclient_stop lets the host end by itself before it kills it, 3000 by
                                       default */
    uint32_t restarts_per_minute;   /* more than this many in a minute and the client gives up, 10 by default; 0 gives up
                                       on the first host that ends */
    int32_t trace_level;            /* most that the host logs: 0 failures, 1 warnings, 2 progress; -1 nothing. By default
                                       ZELCLIENT_TRACE_INHERIT */
    zelclient_on_result on_result;  /* NULL: results are queued for zelclient_poll, the newest 16 of them */
    zelclient_on_state on_state;    /* NULL for none */
    zelclient_on_log on_log;        /* NULL for none */
    void* user;                     /* handed to the callbacks */
} zelclient_options;

/* Fills in the defaults; host_program stays NULL. */
void zelclient_options_init(zelclient_options* options);

/*
 * Starts a host and asks it for the options' model. Returns as soon as the process runs; the host is then in state
 * STARTING. Frames may be submitted at once: the newest waits until the model is in force.
 *   ZELCLIENT_OK              *client is the new client, to be ended with zelclient_stop
 *   ZELCLIENT_ERROR_ARGUMENT  options missing or out of range
 *   ZELCLIENT_ERROR_HOST      the program is not there or does not start
 *   ZELCLIENT_ERROR_CHANNELS  shared memory could not be had
 *   ZELCLIENT_ERROR_MEMORY
 * After an error *client is NULL and `error`, unless it is NULL, holds a line for people, cut to error_size.
 */
zelclient_error zelclient_start(const zelclient_options* options, zelclient** client, char* error, size_t error_size);

/*
 * Ends the host (asks it, waits stop_timeout_ms, then kills it) and frees the client. Frames without a result get none,
 * and no callback runs after the return. NULL does nothing.
 */
void zelclient_stop(zelclient* client);

/*
 * Changes the model. The host goes on with the one before until the new one is loaded. Frames of the wrong size for the
 * model in force fail.
 *   ZELCLIENT_OK              asked for; zelclient_wait_model waits for it
 *   ZELCLIENT_ERROR_ARGUMENT  the host has no such type (4, or above 10) or no such capacity (above 1)
 *   ZELCLIENT_ERROR_FAILED    hosts keep ending
 *   ZELCLIENT_ERROR_MEMORY    asked for all the same, the host hears of it later
 */
zelclient_error zelclient_choose_model(zelclient* client, uint32_t type, uint32_t capacity);

/*
 * Turns the repeating of masks of a still picture on (1) or off (0), now and after every later start of a model.
 *   ZELCLIENT_OK, ZELCLIENT_ERROR_ARGUMENT
 *   ZELCLIENT_ERROR_MEMORY    it is kept, the host hears of it later
 */
zelclient_error zelclient_set_auto_skip(zelclient* client, uint32_t on);

/*
 * Waits until the model last asked for is in force, at most timeout_ms. From the end of a host until its model is in
 * force in the next one, none is.
 *   ZELCLIENT_OK, ZELCLIENT_TIMEOUT
 *   ZELCLIENT_ERROR_FAILED    the host could not start it, or hosts keep ending
 *   ZELCLIENT_ERROR_ARGUMENT  a null pointer
 *   ZELCLIENT_ERROR_MEMORY
 */
zelclient_error zelclient_wait_model(zelclient* client, uint32_t timeout_ms);

/*
 * Hands a frame over. Never waits: when the host has its frames already, this one is kept and replaces an older one that
 * was kept.
 *   ZELCLIENT_OK              accepted: it will get exactly one result
 *   ZELCLIENT_ERROR_ARGUMENT  no picture, no pixels, a size that its kind does not have, a stride below its rows, or an
 *                             unknown kind; zelclient_last_error says which
 *   ZELCLIENT_ERROR_FAILED    the state is ZELCLIENT_FAILED
 *   ZELCLIENT_ERROR_MEMORY    not accepted
 */
zelclient_error zelclient_submit(zelclient* client, const zelclient_frame* frame);

/*
 * The next result, when on_result is NULL. What it points at may be read until the next zelclient_poll, zelclient_wait
 * or zelclient_stop of this client.
 *   ZELCLIENT_OK              *result is filled in
 *   ZELCLIENT_TIMEOUT         there is none (yet); *result is untouched
 *   ZELCLIENT_ERROR_FAILED    there is none and none will come: the state is ZELCLIENT_FAILED, and every accepted frame
 *                             has had its result
 *   ZELCLIENT_ERROR_ARGUMENT  a null pointer, or the client has an on_result
 *   ZELCLIENT_ERROR_MEMORY    *result is untouched, and so is what there may be
 * zelclient_wait waits at most timeout_ms for one.
 */
zelclient_error zelclient_poll(zelclient* client, zelclient_result* result);
zelclient_error zelclient_wait(zelclient* client, uint32_t timeout_ms, zelclient_result* result);

/* Where the client stands at this moment; ZELCLIENT_FAILED for NULL. */
zelclient_state zelclient_get_state(zelclient* client);

/* A word for a state or an error: "ready", "time-out". Never NULL; static. */
const char* zelclient_state_name(zelclient_state state);
const char* zelclient_error_name(zelclient_error error);

/* The words for a gesture: "open palm", "fist", "thumb up", "thumb down", "pointing", "victory", "three", "OK", "horns"
   for 0 to 8, "none" for any other number. Never NULL; static. */
const char* zelclient_gesture_name(int32_t gesture);

/* Copies the newest failure as a line for people, cut to size and terminated; "" when there was none. Returns its length.
   After the end of a host it names the crash report and the dump that this host has left in the temporary folder or
   beside its program; two paths need up to 1024 bytes. */
size_t zelclient_last_error(zelclient* client, char* text, size_t size);

/* Fills in the figures; all zero for NULL. */
void zelclient_get_info(zelclient* client, zelclient_info* info);

/*
 * The picture size of the models' networks for a capacity: 256 x 144 for 0, 640 x 360 for 1.
 *   ZELCLIENT_OK, ZELCLIENT_ERROR_ARGUMENT
 */
zelclient_error zelclient_network_size(uint32_t capacity, uint32_t* width, uint32_t* height);

/*
 * The size that frames of a kind have, in pixels: as above for ZELCLIENT_KIND_MODEL, segmentation and Ladon alike; 160
 * x 90 for faces; for content the most, 512 x 512. The capacity counts for ZELCLIENT_KIND_MODEL only. ZELCLIENT_OK,
 * ZELCLIENT_ERROR_ARGUMENT
 */
zelclient_error zelclient_frame_size(zelclient_kind kind, uint32_t capacity, uint32_t* width, uint32_t* height);

/* ZELCLIENT_VERSION of the library in use. */
const char* zelclient_version(void);

#ifdef __cplusplus
}
#endif

#endif
