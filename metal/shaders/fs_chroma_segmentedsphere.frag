#version 450
#extension GL_GOOGLE_include_directive : require

#define PROJECT project_segmentedsphere
#define PLANE texture1
#include "planes.inc"
