#version 450
#extension GL_GOOGLE_include_directive : require

#define PROJECT project_flat
#define PLANE texture0
#include "planes.inc"
