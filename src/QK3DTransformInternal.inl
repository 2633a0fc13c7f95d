// QK3DTransformInternal.inl: the mutators of a local transform, the same for every class that has one. Included in a source
// file after TRANSFORM_OWNER was defined as the class; with TRANSFORM_POINT_FORMS those about a point come too.

void TRANSFORM_OWNER::Transform(Matrix44 const& m) {
    m_transform *= m;
    m_transformChanged = true;
}

void TRANSFORM_OWNER::SetTransform(Matrix44 const& m) {
    if (m == m_transform) return;
    m_transform = m;
    m_transformChanged = true;
}

void TRANSFORM_OWNER::ResetTransform() { SetTransform(Matrix44::IDENTITY); }

void TRANSFORM_OWNER::Translation(float x, float y, float z) { Transform(MatBuildTranslation(x, y, z)); }
void TRANSFORM_OWNER::Scale(float sx, float sy, float sz) { Transform(MatBuildScale(sx, sy, sz)); }
void TRANSFORM_OWNER::Rotate(Quaternion const& q) { Transform(Matrix44(q)); }
void TRANSFORM_OWNER::RotateAxis(Vector3 const& a, Vector3 const& b, float angle) {
    Transform(MatBuildRotationAxis(a, b, angle));
}
void TRANSFORM_OWNER::RotateAxis(Vector3 const& axis, float angle) { Transform(MatBuildRotationAxis(axis, angle)); }
void TRANSFORM_OWNER::RotateX(float angle) { Transform(MatBuildRotationX(angle)); }
void TRANSFORM_OWNER::RotateY(float angle) { Transform(MatBuildRotationY(angle)); }
void TRANSFORM_OWNER::RotateZ(float angle) { Transform(MatBuildRotationZ(angle)); }

#ifdef TRANSFORM_POINT_FORMS
void TRANSFORM_OWNER::Scale(Vector3 const& center, float sx, float sy, float sz) {
    Transform(MatBuildScale(center, sx, sy, sz));
}
void TRANSFORM_OWNER::RotateX(Vector3 const& point, float angle) { Transform(MatBuildRotationX(point, angle)); }
void TRANSFORM_OWNER::RotateY(Vector3 const& point, float angle) { Transform(MatBuildRotationY(point, angle)); }
void TRANSFORM_OWNER::RotateZ(Vector3 const& point, float angle) { Transform(MatBuildRotationZ(point, angle)); }
#undef TRANSFORM_POINT_FORMS
#endif
#undef TRANSFORM_OWNER
