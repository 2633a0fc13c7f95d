// Glowing veins that wander over a dark ball, and a rim of light.
layout(location = 0) in vec2 surface;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec3 toCamera;

layout(binding = 0) uniform sampler2D noise;
uniform float time;

layout(location = 0) out vec4 colour;

void main() {
    vec2 place = surface * vec2(3.0, 1.5);
    float a = texture(noise, place + vec2(time * 0.03, time * 0.02)).r;
    float b = texture(noise, place * 1.7 - vec2(time * 0.02, 0.0)).g;
    float vein = 1.0 - smoothstep(0.0, 0.09, abs(a - b));
    float rim = pow(1.0 - max(dot(normalize(normal), normalize(toCamera)), 0.0), 2.5);
    vec3 core = mix(vec3(0.03, 0.05, 0.10), vec3(0.10, 0.16, 0.28), a);
    colour = vec4(core + vein * vec3(0.25, 0.85, 1.0) + rim * vec3(0.15, 0.45, 0.75), 1.0);
}
