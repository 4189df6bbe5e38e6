#version 450
#extension GL_GOOGLE_include_directive : require

#define PROJECT project_equirectangular
#define PLANE texture0
#include "planes.inc"
