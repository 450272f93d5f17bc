#pragma once

#include <string>

#include "client/src/HostRecords.h"
#include "client/src/Results.h"

namespace client {

// What the host's answer to a frame comes to. Each takes a result that bears the frame's width and height, at most
// ipc::kFrameBytes pixels of them, and fills in its status and its data; "" or, with ZELCLIENT_FRAME_FAILED, what is
// wrong with the answer as the end of a sentence. Nothing of the answer is trusted. Any thread.
//
// A mask of another size is wrong, and so is a text that is not to the byte as a host writes it. Numbers are looked at
// one by one: boxes and faces with one that is infinite or none are left out.

std::string readMask(const MaskView& mask, Result& result);

// {"faceNum":1,"facePos":[[x,y,width,height]]}
std::string readFaces(const TextView& text, Result& result);

// {"ContentNum":1,"ContentPos":[[left,top,right,bottom,score,class]]}
std::string readContent(const TextView& text, bool valid, Result& result);

// `withTable`: the record has the form with a colour table. Of the landmarks only the cells that hold a face are
// copied.
std::string readLadon(const ipc::LadonResult& record, bool withTable, Result& result);

}  // namespace client
