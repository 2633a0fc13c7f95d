// GLFixedFunctionVertex.cpp: writes the vertex shader of a key.
#include "GLFixedFunctionKey.h"

namespace qk3d::gl {
namespace {
using std::to_string;

char const* const kUnitText = R"(
// A vector of length 0 stays 0.
vec3 Unit(vec3 v) {
    float square = dot(v, v);
    return square > 0.0 ? v * inversesqrt(square) : vec3(0.0);
}
)";

// Sums over all lights, in the variables that lit colours are made of.
char const* const kLightText = R"(
void Shine(Light light, vec3 towards, float strength, vec3 normal, vec3 eye) {
    ambientSum += light.ambient.rgb * strength;
    float facing = dot(normal, towards);
    if (facing <= 0.0) return;
    diffuseSum += light.diffuse.rgb * (facing * strength);
    if (!kHighlights) return;
    float mirrored = dot(normal, Unit(towards + eye));
    if (mirrored > 0.0) specularSum += light.specular.rgb * (pow(mirrored, material.power.x) * strength);
}

float Attenuation(Light light, float d) {
    if (d > light.position.w) return 0.0;
    return 1.0 / max(light.attenuation.x + light.attenuation.y * d + light.attenuation.z * d * d, 1e-20);
}

float Cone(Light light, vec3 towards) {
    float rho = dot(-towards, light.direction.xyz);
    if (rho > light.cone.x) return 1.0;
    if (rho <= light.cone.y) return 0.0;
    return pow((rho - light.cone.y) * light.cone.z, light.direction.w);
}
)";

void WriteInterface(VertexKey const& key, std::string& out) {
    auto const input = [&](GLuint location, char const* type, std::string const& name) {
        out += "layout(location = " + to_string(location) + ") in " + type + " " + name + ";\n";
    };
    input(kPositionLocation, "vec4", "aPosition");
    if (key.normal) input(kNormalLocation, "vec3", "aNormal");
    if (key.diffuse) input(kDiffuseLocation, "vec4", "aDiffuse");
    if (key.specular) input(kSpecularLocation, "vec4", "aSpecular");
    if (key.pointSize) input(kPointSizeLocation, "float", "aPointSize");
    for (unsigned set = 0; set < kTexCoordSets; ++set) {
        bool read = false;
        for (auto const& coord : key.coords) read |= coord.source == CoordKey::Set0 + set;
        if (read) input(kTexCoordLocation + set, "vec4", "aTexCoord" + to_string(set));
    }

    auto const output = [&](GLuint location, char const* type, std::string const& name) {
        out += "layout(location = " + to_string(location) + ") " + type + " " + name + ";\n";
    };
    char const* const colour = key.flat ? "flat out vec4" : "out vec4";
    output(kDiffuseVarying, colour, "vDiffuse");
    if (key.writeSpecular) output(kSpecularVarying, colour, "vSpecular");
    if (key.fog) output(kFogVarying, "out vec2", "vFog");
    for (unsigned i = 0; i < kFixedStages; ++i) {
        if (key.coords[i].source) output(kTexCoordVarying + i, "out vec4", "vTexCoord" + to_string(i));
    }

    unsigned planes = 0;
    while (key.clipPlanes >> planes) ++planes;
    out += "out gl_PerVertex {\n    vec4 gl_Position;\n";
    if (key.points) out += "    float gl_PointSize;\n";
    if (planes) out += "    float gl_ClipDistance[" + to_string(planes) + "];\n";
    out += "};\ninvariant gl_Position;\n";
}

void WritePosition(VertexKey const& key, std::string& out) {
    if (key.preTransformed) {
        out += "    float w = aPosition.w == 0.0 ? 1.0 : 1.0 / aPosition.w;\n"
               "    vec2 place = (aPosition.xy - frame.viewport.xy) * frame.viewport.zw;\n"
               "    gl_Position = vec4(vec3(place.x - 1.0, 1.0 - place.y, aPosition.z) * w, w);\n";
        return;
    }
    out += "    gl_Position = object.worldViewProjection * vec4(aPosition.xyz, 1.0);\n"
           "    vec3 position = (object.worldView * vec4(aPosition.xyz, 1.0)).xyz;\n";
    static_assert(kPixelCentre == 127.0f / 256.0f); // in the text, where no locale touches it
    if (!key.points) out += "    gl_Position.xy += vec2(127.0, -127.0) / 256.0 * frame.viewport.zw * gl_Position.w;\n";
    for (unsigned i = 0; key.clipPlanes >> i; ++i) {
        std::string const at = "gl_ClipDistance[" + to_string(i) + "]";
        bool const on = (key.clipPlanes >> i & 1) != 0;
        out +=
            "    " + at + (on ? " = dot(frame.clipPlanes[" + to_string(i) + "], vec4(position, 1.0));\n" : " = 1.0;\n");
    }
}

void WriteNormal(VertexKey const& key, std::string& out) {
    if (!key.normal) {
        out += "    vec3 normal = vec3(0.0);\n";
        return;
    }
    out += "    vec3 normal = (object.normal * vec4(aNormal, 0.0)).xyz;\n";
    if (key.normalize) out += "    normal = Unit(normal);\n";
}

std::string Source(std::uint8_t source, char const* material) {
    if (source == kFromDiffuse) return "aDiffuse";
    if (source == kFromSpecular) return "aSpecular";
    return std::string("material.") + material;
}

void WriteLighting(VertexKey const& key, std::string& out) {
    unsigned const directional = key.lights[0], point = directional + key.lights[1], spot = point + key.lights[2];
    out += "    ambientSum = frame.ambient.rgb;\n    diffuseSum = vec3(0.0);\n    specularSum = vec3(0.0);\n";
    if (spot)
        out += key.localViewer ? "    vec3 eye = Unit(-position);\n" : "    const vec3 eye = vec3(0.0, 0.0, -1.0);\n";
    if (directional) {
        out += "    for (int i = 0; i < " + to_string(directional) +
               "; ++i)\n"
               "        Shine(object.lights[i], object.lights[i].direction.xyz, 1.0, normal, eye);\n";
    }
    auto const local = [&](unsigned first, unsigned last, char const* cone) {
        if (first == last) return;
        out += "    for (int i = " + to_string(first) + "; i < " + to_string(last) +
               "; ++i) {\n"
               "        vec3 way = object.lights[i].position.xyz - position;\n"
               "        vec3 towards = Unit(way);\n"
               "        float strength = Attenuation(object.lights[i], length(way))" +
               cone +
               ";\n"
               "        Shine(object.lights[i], towards, strength, normal, eye);\n"
               "    }\n";
    };
    local(directional, point, "");
    local(point, spot, " * Cone(object.lights[i], towards)");

    std::string const diffuse = Source(key.diffuseSource, "diffuse");
    out += "    vDiffuse = clamp(vec4(" + Source(key.emissiveSource, "emissive") + ".rgb + " +
           Source(key.ambientSource, "ambient") + ".rgb * ambientSum + " + diffuse + ".rgb * diffuseSum, " + diffuse +
           ".a), 0.0, 1.0);\n";
    if (key.writeSpecular) {
        std::string const specular = Source(key.specularSource, "specular");
        out += "    vSpecular = clamp(vec4(" + specular + ".rgb * specularSum, " + specular + ".a), 0.0, 1.0);\n";
    }
}

void WriteColours(VertexKey const& key, std::string& out) {
    if (key.lighting) {
        WriteLighting(key, out);
        return;
    }
    out += key.diffuse ? "    vDiffuse = clamp(aDiffuse, 0.0, 1.0);\n" : "    vDiffuse = vec4(1.0);\n";
    if (!key.writeSpecular) return;
    out +=
        key.specular ? "    vSpecular = clamp(aSpecular, 0.0, 1.0);\n" : "    vSpecular = vec4(0.0, 0.0, 0.0, 1.0);\n";
}

void WriteFog(VertexKey const& key, std::string& out) {
    auto const mode = static_cast<Fog>(key.fog);
    if (mode == Fog::Off) return;
    if (mode == Fog::InPixel) {
        out += key.affine ? "    vFog = vec2(1.0, gl_Position.z);\n" : "    vFog = vec2(1.0, gl_Position.w);\n";
        return;
    }
    if (mode == Fog::SpecularAlpha) {
        out += key.specular ? "    float fog = aSpecular.a;\n" : "    const float fog = 1.0;\n";
    } else {
        out += key.rangeFog ? "    float depth = length(position);\n" : "    float depth = abs(position.z);\n";
        if (mode == Fog::Exp) out += "    float fog = exp(-frame.fog.z * depth);\n";
        if (mode == Fog::Exp2) out += "    float fog = exp(-frame.fog.z * depth * (frame.fog.z * depth));\n";
        if (mode == Fog::Linear) out += "    float fog = (frame.fog.y - depth) * frame.fog.w;\n";
    }
    out += "    vFog = vec2(isnan(fog) ? 1.0 : clamp(fog, 0.0, 1.0), 0.0);\n";
}

void WritePointSize(VertexKey const& key, std::string& out) {
    if (!key.points) return;
    out += key.pointSize ? "    float size = aPointSize;\n" : "    float size = frame.pointSize.x;\n";
    if (key.pointScale) {
        out += "    float away = length(position);\n"
               "    float scale = frame.pointScale.x + frame.pointScale.y * away + frame.pointScale.z * away * away;\n"
               "    size *= sqrt(frame.pointSize.w / max(scale, 1e-20));\n";
    }
    // A size of 0 has no meaning here; this one covers no pixel's centre.
    out += "    gl_PointSize = max(min(max(size, frame.pointSize.y), frame.pointSize.z), 1e-3);\n";
}

void WriteCoords(VertexKey const& key, std::string& out) {
    for (unsigned i = 0; i < kFixedStages; ++i) {
        auto const& coord = key.coords[i];
        if (!coord.source) continue;
        std::string input;
        if (coord.source == CoordKey::Normal) {
            input = "vec4(normal, 1.0)";
        } else if (coord.source == CoordKey::Position) {
            input = "vec4(position, 1.0)";
        } else if (coord.source == CoordKey::Reflection) {
            input = "vec4(reflect(Unit(position), normal), 1.0)";
        } else {
            input = "aTexCoord" + to_string(coord.source - CoordKey::Set0);
        }
        std::string const name = "vTexCoord" + to_string(i);
        if (!coord.count) {
            out += "    " + name + " = " + input + ";\n";
            continue;
        }
        // The first component that is missing is a 1, so that a row of the matrix moves the coordinates.
        if (coord.size == 1) input = "vec4(" + input + ".x, 1.0, 0.0, 0.0)";
        if (coord.size == 2) input = "vec4(" + input + ".xy, 1.0, 0.0)";
        std::string const product = "material.textureMatrix[" + to_string(i) + "] * " + input;
        if (coord.count == 2) out += "    " + name + " = vec4((" + product + ").xy, 0.0, 1.0);\n";
        if (coord.count == 3) out += "    " + name + " = vec4((" + product + ").xyz, 1.0);\n";
        if (coord.count == 4) out += "    " + name + " = " + product + ";\n";
    }
}
} // namespace

std::string WriteVertexShader(VertexKey const& key) {
    std::string body;
    WriteInterface(key, body);
    body += kUnitText;
    if (key.lighting) {
        body += key.writeSpecular ? "const bool kHighlights = true;\n" : "const bool kHighlights = false;\n";
        body += "vec3 ambientSum, diffuseSum, specularSum;\n";
        body += kLightText;
    }
    body += "void main() {\n";
    WritePosition(key, body);
    if (!key.preTransformed) WriteNormal(key, body);
    WriteColours(key, body);
    WriteFog(key, body);
    WritePointSize(key, body);
    WriteCoords(key, body);
    return WithBlocks(body + "}\n");
}
} // namespace qk3d::gl
