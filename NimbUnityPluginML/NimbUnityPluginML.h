/* The exported interface of libNimbUnityPluginML.so, for whoever writes the managed side.
 *
 * A player is addressed by an integer id. All functions of the first two groups belong to one thread (the script
 * thread); the functions behind the render events belong to the engine's render thread, with its EGL context current.
 * What belongs to the script thread belongs to one thread at a time for each player, not to the same one for all:
 * Create, Open, Close and Destroy take milliseconds, and may be called for one player on a thread of the script's own
 * while other threads use other players. Render events for a player that is being opened, closed or destroyed
 * elsewhere are safe and show nothing; wait for such a call to end before anything else is asked of that player.
 * Joining a clock makes players belong to one thread together. Calls into a player return within a bounded time,
 * whatever its worker threads are doing. Booleans are one byte, 0 or 1; records have the platform's natural alignment,
 * and their sizes are part of the interface. Nothing here throws: a call that runs out of memory or threads fails, the
 * log says so, and the player stays usable.
 *
 * Usual order:
 *   UnityPluginLoad, UnitySetGraphicsDevice        by the engine, at load
 *   id = CreateQuorObject()
 *   OpenQuorObject(id, path, &info)
 *   GetQuorObjectFileInfo(id, &file)               sizes for texture, vertex and index buffer
 *   SetUnityBuffers(id, texture, ...)              GL names of all three
 *   PlayQuorObject(id)
 *   every frame: a render event with GetUnityRenderModeEventFunc() and the id, then GetQuorObjectFrameInfo(id, &frame)
 *   CloseQuorObject(id), DestroyQuorObject(id)     after the last render event for the id
 */
#ifndef NIMB_UNITY_PLUGIN_ML_H
#define NIMB_UNITY_PLUGIN_ML_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define NIMB_API __attribute__((visibility("default")))
#else
#define NIMB_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What OpenQuorObject is told; copied whole. Bytes without a name are carried and not interpreted: leave them 0. */
typedef struct NimbOpenInfo {
    uint8_t disableAudio; /* not 0: play without sound */
    uint8_t reserved1[4];
    uint8_t autoLoop; /* not 0: play again from the start at the end of the file */
    uint8_t reserved6[4118];
} NimbOpenInfo;

/* What GetQuorObjectFileInfo fills in. Not cleared before: fields that the file says nothing about keep their values.
 */
typedef struct NimbFileInfo {
    uint8_t hasAudio; /* 1: an audio track was configured */
    uint8_t reserved1[7];
    int64_t duration;        /* of track 0, 100-nanosecond units; 0 when unknown */
    uint32_t frameCount;     /* of the file, from its attribute atom, like the maxima and the box */
    uint32_t maxVertexCount; /* largest of any frame */
    uint32_t maxIndexCount;  /* largest of any frame */
    float bitrateMbps;       /* fileSizeMB x 8 per second: units of 8,388,608 bits, deliberately */
    float fileSizeMB;        /* units of 1,048,576 bytes */
    uint8_t reserved36[4];
    double minX, minY, minZ; /* bounding box of all frames */
    double maxX, maxY, maxZ;
    uint32_t textureWidth; /* of the video track, pixels */
    uint32_t textureHeight;
    uint8_t hasNormals; /* 1: vertices carry normals; left alone when the file does not say */
    uint8_t reserved97[7];
} NimbFileInfo;

/* What GetQuorObjectFrameInfo fills in; cleared first. Zero up to indexCount while no frame has been shown. */
typedef struct NimbFrameInfo {
    int64_t timestamp;       /* presentation time of the current mesh frame, 100-nanosecond units */
    double minX, minY, minZ; /* bounding box of the current frame */
    double maxX, maxY, maxZ;
    uint32_t frameId;
    uint32_t vertexCount;
    uint32_t indexCount;
    uint32_t textureWidth; /* of the video track, pixels */
    uint32_t textureHeight;
    uint8_t endOfStream;     /* 1 once after the end of the output: reading it clears it */
    uint8_t isRepeatedFrame; /* 1: the current frame has been rendered more than once */
    uint8_t reserved78[2];
} NimbFrameInfo;

/* Results of GetQuorState. */
enum {
    NimbState_Empty = 0,       /* never seen from outside */
    NimbState_Initialized = 1, /* no file was ever opened */
    NimbState_Opened = 2,
    NimbState_Playing = 3, /* also at the end of a file that does not loop */
    NimbState_Paused = 4,  /* also after a rewind */
    NimbState_Closed = 5,  /* may be opened again */
    NimbState_NotFound = 6 /* no player has this id */
};

/* ---- Players (script thread) --------------------------------------------------------------------------------------
 */

/* A new player's id: 0 for the first in the process, never used again. -1 when it cannot be made. */
NIMB_API int CreateQuorObject(void);
/* Ends the player's threads and forgets it. Issue no more render events for the id. 0: no such player. */
NIMB_API uint8_t DestroyQuorObject(int id);
/* Opens a file (`path` is a path, or a "file:" URI with percent escapes, UTF-8), closing one that is open. 0: no such
 * player, or the file cannot be opened; the log says why, and the next Open works. */
NIMB_API uint8_t OpenQuorObject(int id, const char* path, const NimbOpenInfo* info);
NIMB_API uint8_t CloseQuorObject(int id);
/* From Opened or Paused. From Closed it succeeds as well and plays nothing. 0 in any other state. */
NIMB_API uint8_t PlayQuorObject(int id);
/* From Playing only; 0 in any other state. Does not wait for the worker threads. */
NIMB_API uint8_t PauseQuorObject(int id);
/* Back to the start, Paused. Once a file has been opened; succeeds in every state from then on. */
NIMB_API uint8_t RewindQuorObject(int id);
/* 1 is normal speed, 0.5 half of it. Takes effect without a jump. */
NIMB_API void SetClockScale(int id, float scale);
/* 0 is silence, 1 leaves the sound as it is. Returns 0: no such player, no sound, or refused by the platform. */
NIMB_API uint8_t SetAudioVolume(int id, float volume);
NIMB_API uint8_t GetQuorObjectFrameInfo(int id, NimbFrameInfo* info);
/* 0 also when the attribute atom lacks a required value; what would be read after it is then left alone. */
NIMB_API uint8_t GetQuorObjectFileInfo(int id, NimbFileInfo* info);
NIMB_API int GetQuorState(int id);
/* Whether uploads compute smooth normals (the default). Set before the first Open, it also decides how frames
 * are decoded. Changed later, it changes only uploads: off, frames that were decoded without normals get 0. */
NIMB_API uint8_t SetComputeNormals(int id, uint8_t computeNormals);

/* ---- Additions: going to frames -----------------------------------------------------------------------------------
 *
 * A library may lack what stands from here to the next line of this kind. Look `getPlayerFeatures` up by its name; when
 * it is there, it says which of the additions are.
 *
 * Going to a frame takes time. Each request gives a ticket, a number above 0 that ascends, and every ticket ends
 * exactly once. Done means that the render event has ended that put picture and mesh of that frame into the engine's
 * objects, also when the frame was shown already, and also while the player is paused. Between a request and its end no
 * render event shows another frame. A newer request supersedes the one before, as do Rewind and Close; so any number of
 * them may be made, and the last one counts. Docs/playing.md has a picture.
 *
 *   ticket = SeekQuorObject(id, 120, NimbSeekOption_Pause)
 *   every frame: a render event, then while (TakeSeekEnd(id, &end)) ...
 *
 * A request is accepted from Open to Close: made before the first Play, the clip begins with that frame. It sets the
 * state, Playing or Paused, at once. The functions here may be called from any one thread at a time for each player, as
 * may those above; render events go on meanwhile. They do not wait for decoding.
 */

/* Bits of what getPlayerFeatures returns. */
enum {
    NimbFeature_Seek = 1,        /* SeekQuorObject, SeekQuorObjectToTime, StepQuorObject, TakeSeekEnd */
    NimbFeature_PlayRange = 2,   /* SetPlayRange */
    NimbFeature_Clock = 4,       /* CreatePlayerClock .. GetPlayerClockInfo */
    NimbFeature_Device = 8,      /* GetDeviceEventFunc, GetDeviceInfo */
    NimbFeature_ShownFrame = 16, /* GetShownFrame */
    NimbFeature_Trouble = 32     /* TakeTrouble */
};
NIMB_API uint32_t getPlayerFeatures(void);

/* Options of requests, to be added up. */
enum {
    NimbSeekOption_Pause = 1,     /* stay Paused at the frame; without it, playback goes on from there */
    NimbSeekOption_NearestKey = 2 /* to the nearest frame whose picture needs no other: quicker, for dragging */
};

typedef enum NimbSeekResult {
    NimbSeekResult_Done = 0,
    NimbSeekResult_Superseded = 1,
    NimbSeekResult_Failed = 2
} NimbSeekResult;

/* Why a request failed. */
typedef enum NimbSeekReason {
    NimbSeekReason_None = 0,
    NimbSeekReason_Closed = 1,     /* the player was closed */
    NimbSeekReason_NoIndex = 2,    /* the file's index cannot be read, as that of a fragmented file; the log says why */
    NimbSeekReason_OutOfRange = 3, /* there is no such frame */
    NimbSeekReason_NoMesh = 4,     /* the frame has no mesh, or a damaged one; what was shown before is shown still */
    NimbSeekReason_NoPicture = 5,  /* the decoder did not yield the frame's picture */
    NimbSeekReason_Platform = 6    /* the platform refused, again and again */
} NimbSeekReason;

/* How a request ended. */
typedef struct NimbSeekEnd {
    int64_t ticket;
    int64_t frame; /* that it led to, counted from 0; of a request for a time or a key, the frame that was found */
    int64_t time;  /* of the frame in the file, 100-nanosecond units; 0 unless done */
    NimbSeekResult result; /* an int */
    NimbSeekReason reason; /* an int */
} NimbSeekEnd;

/* To a frame, counted from 0. Returns a ticket; 0 when there is no such player, or none with an open file. */
NIMB_API int64_t SeekQuorObject(int id, int64_t frame, uint32_t options);
/* To the frame that is shown at a time of the file (100-nanosecond units): the last one that begins at or before it.
 * Times beyond the ends mean the first and the last frame. */
NIMB_API int64_t SeekQuorObjectToTime(int id, int64_t time, uint32_t options);
/* `frames` further, or back if below 0, from the frame that is on its way or else is shown; not beyond the ends. Stays
 * Paused there. */
NIMB_API int64_t StepQuorObject(int id, int frames);
/* Puts the oldest end that was not taken yet into `*end`, ends in the order in which they came. 0: there is none. Those
 * that nobody takes are kept up to 1024. */
NIMB_API uint8_t TakeSeekEnd(int id, NimbSeekEnd* end);

/* Playback stays within the frames `first` to `last`: at the end of the last one it goes on with the first if `loop` is
 * not 0, otherwise it ends as at the end of the file. May be changed while it plays; where playback is beyond `last`,
 * it has reached it. Frames that are queued already, up to eight, are still shown, and an end behind them is reached:
 * if `loop` is not 0 by then, it goes on with the first. An end that GetQuorObjectFrameInfo has told stays one, until a
 * request or a rewind. `last` below 0: the whole file again. Close forgets it. 0: no such player, no open file, no
 * index, or no such frames. */
NIMB_API uint8_t SetPlayRange(int id, int64_t first, int64_t last, uint8_t loop);

/* ---- Additions: one clock for several players ---------------------------------------------------------------------
 *
 * Players that have joined a clock show the same time of their files at every engine frame, in which each has one
 * render event: no picture comes at the event of one of them that was not due at the first event of that frame. They
 * start together: after Play and Seek the clock stands still until all have their frame in the engine's objects, at
 * most two seconds. One that cannot keep up drops pictures, and the others do not wait for it.
 *
 *   clock = CreatePlayerClock()
 *   for each player: OpenQuorObject, SetUnityBuffers, JoinPlayerClock(clock, id)
 *   PlayPlayerClock(clock)
 *   every frame: a render event for each player
 *
 * What a script asks of a player alone it gets, and that player is out of step until the next Play or Seek of the
 * clock: it goes on at the clock's speed from where it is. Players that loop, or have a range that does, stay in step
 * when their loops are of one length; a range takes effect in step with the next Seek. A clock and the players that
 * have joined it belong to one thread at a time. Functions return 0 when there is no such clock.
 */

/* What GetPlayerClockInfo fills in. */
typedef struct NimbClockInfo {
    int64_t time;      /* that the clock is at, 100-nanosecond units; goes on through loops */
    float speed;       /* 1 is normal */
    uint32_t players;  /* that have joined */
    uint32_t awaited;  /* that have not arrived yet where the clock has gone */
    uint8_t isPlaying; /* 1: also while it waits for players, and at the end of their files */
    uint8_t reserved21[3];
} NimbClockInfo;

/* A new clock's id, paused at 0: 0 for the first in the process, never used again. -1 when it cannot be made. */
NIMB_API int CreatePlayerClock(void);
/* Its players leave it. */
NIMB_API uint8_t DestroyPlayerClock(int clock);
/* The player leaves the clock that it had. It goes on as it did, and comes into step with the next Play or Seek of the
 * clock. 0 also when there is no such player. */
NIMB_API uint8_t JoinPlayerClock(int clock, int id);
/* The player goes by its own pace again. 0: no such player, or it has no clock. */
NIMB_API uint8_t LeavePlayerClock(int id);
/* All players that have an open file play, from the clock's time; those that are not in step go there first. */
NIMB_API uint8_t PlayPlayerClock(int clock);
/* All players pause. They show the same time. */
NIMB_API uint8_t PausePlayerClock(int clock);
/* All players that have an open file go to a time of it (100-nanosecond units), as by SeekQuorObjectToTime with these
 * options: each has a ticket of its own, whose end TakeSeekEnd tells, and the last one to end sets the clock going.
 * Returns how many players go there. Not those whose file has no index. */
NIMB_API int SeekPlayerClock(int clock, int64_t time, uint32_t options);
/* Above 0, at most 1000; 1 is normal. Takes effect without a jump; a player's own SetClockScale comes on top of it. */
NIMB_API uint8_t SetPlayerClockSpeed(int clock, float speed);
NIMB_API uint8_t GetPlayerClockInfo(int clock, NimbClockInfo* info);

/* ---- Additions: what is shown, what goes wrong, and the graphics device --------------------------------------------
 *
 * The functions here may be called from any thread at any time, also while another one uses the player. They wait for
 * nothing but short locks.
 */

/* What GetShownFrame fills in, all of it as one render event has left it. */
typedef struct NimbShownFrame {
    int64_t frame;  /* in the engine's objects, counted from 0 in the file; -1: none */
    int64_t time;   /* of that frame in the file, 100-nanosecond units: at every speed, and after loops and seeks */
    uint64_t count; /* frames shown since Open: another count, another frame in the engine's objects */
} NimbShownFrame;

/* Which frame the engine's objects hold: picture and mesh of this one. None before the first frame of a file and after
 * SetUnityBuffers, since other objects hold nothing yet. It stays through Pause, Rewind and Close. Where the file has
 * no index that can be read, samples are counted from the start of the file: one that the platform passes over without
 * a word makes the numbers after it too low. 0: no such player. */
NIMB_API uint8_t GetShownFrame(int id, NimbShownFrame* shown);

typedef enum NimbTroubleReason {
    NimbTroubleReason_DamagedMesh = 1, /* cannot be decoded: only where violations are reported, see below */
    NimbTroubleReason_NoMesh = 2,      /* a video sample without one */
    NimbTroubleReason_LostFrames = 3,  /* a picture was dropped: its mesh was late, damaged or missing */
    NimbTroubleReason_Stalled = 4      /* see TakeTrouble */
} NimbTroubleReason;

/* Something that went wrong in playback, which goes on. */
typedef struct NimbTrouble {
    int64_t frame;            /* of the file, counted from 0; -1: unknown. Of a stall, the frame that is shown */
    NimbTroubleReason reason; /* an int */
    uint32_t count;           /* how often since it was last taken; more than 28 different ones that nobody takes are
                               * put together with the last one of the same reason */
} NimbTrouble;

/* Puts the oldest trouble that was not taken yet into `*trouble`. Open forgets what is left over from the file before.
 * 0: there is none. The plug-in for editors, nimb_editor_plugin, reports a damaged mesh; other builds end the process
 * at it, as they do at any violation of the format. A player has stalled when nothing new was shown for 3 seconds and
 * the time that a frame lasts, although it plays, is not at the end and has its render events; it is said once, until a
 * frame is shown. */
NIMB_API uint8_t TakeTrouble(int id, NimbTrouble* trouble);

/* What is known of the engine's graphics device. */
typedef enum NimbDevice {
    NimbDevice_Unknown = 0,  /* nobody has announced it yet: see GetDeviceEventFunc */
    NimbDevice_Ready = 1,    /* render events may be issued */
    NimbDevice_NoContext = 2 /* the render thread has no EGL context: render events would end the process */
} NimbDevice;

/* What GetDeviceInfo fills in. */
typedef struct NimbDeviceInfo {
    NimbDevice status; /* an int */
    uint32_t context;  /* counts the EGL contexts that were announced. Another number, another context: the engine's GL
                        * objects of the one before are gone. Players remake their own; hand over new ones */
} NimbDeviceInfo;

/* Returns 1. A status without a context is not for ever: a later event may find one. */
NIMB_API uint8_t GetDeviceInfo(NimbDeviceInfo* info);

/* ---- Texts --------------------------------------------------------------------------------------------------------
 */

/* Texts for diagnostics; the result is static. */
NIMB_API const char* getPlatformABI(void);

/* Accepted for older callers; they do nothing and return 1 whatever they are given. */
NIMB_API uint8_t SetQuorObjectAudio3DPosition(int id, float x, float y, float z);
NIMB_API uint8_t SetUseGPU(int id, uint8_t useGPU);
NIMB_API uint8_t TestUnityBuffersValid(int id);
NIMB_API uint8_t ReleaseUnityBuffers(int id);

/* ---- Rendering ----------------------------------------------------------------------------------------------------
 */

/* Hands over the GL objects that the player fills, as native pointers of the engine (GL names). Vertex records are 32
 * bytes: position, normal, texture coordinates as floats; indices are unsigned 32-bit. `vertexBufferSize` and
 * `indexBufferSize` are capacities in vertices and in indices. Script thread; takes effect with the next render event.
 * 0: no such player. */
NIMB_API int SetUnityBuffers(int id, void* texture, int width, int height, void* vertexBuffer, int vertexBufferSize,
                             void* indexBuffer, int indexBufferSize);

typedef void (*NimbRenderEventFunc)(int eventId);

/* The event to issue each frame: the event id is the player's id. It copies the next video frame and the mesh of the
 * same number into the engine's objects. GL state that it leaves changed: blending and face culling
 * disabled, all colours written, viewport and clear colour, the current program, array and element array buffer, vertex
 * array 0 with its attribute 0 enabled, texture unit 0 active and its external texture. The framebuffer is restored.
 */
NIMB_API NimbRenderEventFunc GetUnityRenderModeEventFunc(void);
NIMB_API void OnUnityRenderModeEvent(int eventId);
/* The event that announces the graphics device, the event id being the engine's number for its kind: if an EGL context
 * is current, it does what UnitySetGraphicsDevice does. To be issued before the first render event, and again when the
 * engine may have made another context. It leaves GL's state as it was. */
NIMB_API NimbRenderEventFunc GetDeviceEventFunc(void);
/* An event that only logs. */
NIMB_API NimbRenderEventFunc GetRenderEventFunc(void);
NIMB_API void UnityRenderEvent(int eventId);

/* ---- Called by the engine itself ----------------------------------------------------------------------------------
 */

NIMB_API void UnityPluginLoad(void* unityInterfaces);
/* Remembers the EGL context that is current. Render thread, before the first render event. */
NIMB_API void UnitySetGraphicsDevice(void* device, int deviceType, int eventType);

#ifdef __cplusplus
}
#endif

#endif
