// A section of a wing: the skin of one span-wise piece with a NACA 0012
// profile, of constant chord and without sweep.
//
// x runs along the chord from the leading edge, y along the span, z up. Every
// face turns counter-clockwise seen from outside the wing, so normals by the
// right-hand rule point into the air. The skin is open at both ends of the
// span: the normals of its end edges lie in the end planes, so that layers
// grown along the normals stay between those planes.
//
// Thickness: the four-digit polynomial of E. N. Jacobs, K. E. Ward and
// R. M. Pinkerton, NACA Report 460 (1933). Its last coefficient is -0.1036 in
// place of -0.1015, which closes the trailing edge exactly.

// ---- The part, lengths in metres ----

chord     = 1;
thickness = 0.12; // largest thickness over the chord: the "12" of the name
span      = 0.5;

// ---- The mesh ----

chord_edges = 60; // from the leading to the trailing edge, on either side
span_edges  = 25;

// ---- The profile at y = 0 ----
// Cosine spacing: equal steps of a half circle over the chord, so that the
// points crowd at the leading and at the trailing edge. They run from the
// trailing edge along the lower side to the leading edge and back along the
// upper side; point 0 is the trailing edge of both sides.

points_round = 2 * chord_edges;

For k In {0 : points_round - 1}
  // Steps from the leading edge: the same x, to the last bit, on both sides.
  step = Fabs(chord_edges - k);
  // The square of the sine is (1 - Cos(step * Pi / chord_edges)) / 2.
  x = Sin(step * Pi / points_round)^2;
  z = 5 * thickness * (0.2969 * Sqrt(x) - 0.1260 * x - 0.3516 * x^2
                       + 0.2843 * x^3 - 0.1036 * x^4);
  If (k == 0)
    z = 0; // the closed trailing edge, free of rounding
  ElseIf (k < chord_edges)
    z = -z;
  EndIf
  points[k] = newp;
  Point(points[k]) = {chord * x, 0, chord * z};
EndFor

For k In {0 : points_round - 1}
  lines[k] = newc;
  Line(lines[k]) = {points[k], points[(k + 1) % points_round]};
EndFor

// ---- The skin: each edge of the profile swept along the span ----

For k In {0 : points_round - 1}
  swept[] = Extrude {0, span, 0} {
    Curve{lines[k]}; Layers{span_edges}; Recombine;
  };
  skin[] += swept[1];
EndFor

// ---- Meshing and file ----
// Only the faces of the physical surface and their nodes are written.

Transfinite Curve {lines[]} = 2;

Physical Surface("wing_skin") = {skin[]};

Mesh.MshFileVersion = 4.1;
Mesh.Binary = 0;
Mesh.SaveAll = 0;
