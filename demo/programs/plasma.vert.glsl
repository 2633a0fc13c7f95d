// A ball whose skin breathes: each vertex moves along its normal.
in vec3 qk3dPosition;
in vec3 qk3dNormal;
in vec2 qk3dTexCoord0;

uniform mat4 qk3dWorld;
uniform mat4 qk3dWorldViewProjection;
uniform vec3 qk3dCameraPosition;
uniform float time;

layout(location = 0) out vec2 surface;  // where on the ball
layout(location = 1) out vec3 normal;   // in the world
layout(location = 2) out vec3 toCamera;

void main() {
    float wave = sin(qk3dPosition.y * 9.0 + time * 2.0) * sin(qk3dPosition.x * 7.0 - time * 1.3);
    vec4 position = vec4(qk3dPosition + qk3dNormal * wave * 0.035, 1.0);
    gl_Position = qk3dWorldViewProjection * position;
    surface = qk3dTexCoord0;
    normal = mat3(qk3dWorld) * qk3dNormal;
    toCamera = qk3dCameraPosition - vec3(qk3dWorld * position);
}
