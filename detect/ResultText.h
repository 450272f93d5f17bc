#pragma once

#include <cstdint>
#include <string>

#include "detect/ObjectDetectCommon.h"

// The texts in which the client gets what was found.

// {"faceNum":1,"facePos":[[x,y,width,height]]} in whole pixels of a picture of width x height, from boxes in 0..1.
std::string faceText(const DetectBox* faces, int32_t count, size_t width, size_t height);

// {"ContentNum":1,"ContentPos":[[left,top,right,bottom,score,class]]}, from boxes in pixels, which are cut to whole
// ones.
std::string contentText(const DetectBox* boxes, int32_t count);
