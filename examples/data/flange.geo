// The face of a pipe flange with eight bolt holes, in the plane z = 0.
// The main dimensions are those of a DN 100, PN 16 flange (EN 1092-1), the
// bore that of a 114.3 mm x 3.6 mm pipe.
//
// Rings of quadrangles lie round the bore, round each bolt hole and along the
// rim, where gradients are steep and where a sweep makes hexahedra. Triangles
// fill what is left. Every face turns counter-clockwise seen from +z, so a
// sweep along +z gives solids of positive volume.
//
// The face is made of equal sectors, one to a bolt hole. The triangles of the
// first sector are copied to the others (Periodic Surface), so the mesh falls
// on itself when turned by one sector.

// ---- The part, lengths in millimetres ----

outer_diameter       = 220;
bore_diameter        = 107.1;
bolt_circle_diameter = 180;
bolt_hole_diameter   = 18;
bolt_holes           = 8; // three or more

// ---- The mesh ----

bore_ring_width = 8.5;  // mm, radial width of the quadrangles round the bore
hole_ring_width = 4.4;  // mm, the same round each bolt hole
rim_ring_width  = 2.8;  // mm, the same along the rim

bore_ring_layers = 3;
hole_ring_layers = 3;
rim_ring_layers  = 2;

bore_ring_growth = 1.2; // each layer over the one nearer to the bore
hole_ring_growth = 1.2; // each layer over the one nearer to the hole
rim_ring_growth  = 1.1; // each layer over the one nearer to the rim

bore_edges_per_sector = 12;
rim_edges_per_sector  = 20;
hole_edges_per_quarter = 6;
edges_between_rings   = 8;  // along the straight sides of a sector

// ---- Points and lines on the sides of the sectors ----
// Side s of the sectors stands at the angle (s - 1/2) sector_angle. Bolt hole
// s lies between the sides s and s + 1, at the angle s sector_angle.

sector_angle = 2 * Pi / bolt_holes;

bore_radius = bore_diameter / 2;
rim_radius  = outer_diameter / 2;
hole_radius = bolt_hole_diameter / 2;

centre = newp;
Point(centre) = {0, 0, 0};

For s In {0 : bolt_holes - 1}
  c = Cos((s - 0.5) * sector_angle);
  d = Sin((s - 0.5) * sector_angle);

  r = bore_radius;
  bore_points[s] = newp;
  Point(bore_points[s]) = {r * c, r * d, 0};

  r = bore_radius + bore_ring_width;
  inner_points[s] = newp;
  Point(inner_points[s]) = {r * c, r * d, 0};

  r = rim_radius - rim_ring_width;
  outer_points[s] = newp;
  Point(outer_points[s]) = {r * c, r * d, 0};

  r = rim_radius;
  rim_points[s] = newp;
  Point(rim_points[s]) = {r * c, r * d, 0};

  bore_sides[s] = newc;
  Line(bore_sides[s]) = {bore_points[s], inner_points[s]};
  middle_sides[s] = newc;
  Line(middle_sides[s]) = {inner_points[s], outer_points[s]};
  rim_sides[s] = newc;
  Line(rim_sides[s]) = {outer_points[s], rim_points[s]};
EndFor

Transfinite Curve {bore_sides[]}   = bore_ring_layers + 1 Using Progression bore_ring_growth;
Transfinite Curve {middle_sides[]} = edges_between_rings + 1;
Transfinite Curve {rim_sides[]}    = rim_ring_layers + 1 Using Progression 1 / rim_ring_growth;

// ---- The sectors ----

For s In {0 : bolt_holes - 1}
  next = (s + 1) % bolt_holes;

  bore_arcs[s] = newc;
  Circle(bore_arcs[s])  = {bore_points[s], centre, bore_points[next]};
  inner_arcs[s] = newc;
  Circle(inner_arcs[s]) = {inner_points[s], centre, inner_points[next]};
  outer_arcs[s] = newc;
  Circle(outer_arcs[s]) = {outer_points[s], centre, outer_points[next]};
  rim_arcs[s] = newc;
  Circle(rim_arcs[s])   = {rim_points[s], centre, rim_points[next]};

  loop = newll;
  Curve Loop(loop) = {bore_sides[s], inner_arcs[s], -bore_sides[next], -bore_arcs[s]};
  surface = news;
  Plane Surface(surface) = {loop};
  rings[] += surface;

  loop = newll;
  Curve Loop(loop) = {rim_sides[s], rim_arcs[s], -rim_sides[next], -outer_arcs[s]};
  surface = news;
  Plane Surface(surface) = {loop};
  rings[] += surface;

  // The bolt hole and its ring, in quarters.
  x = bolt_circle_diameter / 2 * Cos(s * sector_angle);
  y = bolt_circle_diameter / 2 * Sin(s * sector_angle);
  hole_centre = newp;
  Point(hole_centre) = {x, y, 0};
  For q In {0 : 3}
    a = s * sector_angle + q * Pi / 2;
    r = hole_radius;
    hole_points[q] = newp;
    Point(hole_points[q]) = {x + r * Cos(a), y + r * Sin(a), 0};
    r = hole_radius + hole_ring_width;
    collar_points[q] = newp;
    Point(collar_points[q]) = {x + r * Cos(a), y + r * Sin(a), 0};
    spokes[q] = newc;
    Line(spokes[q]) = {hole_points[q], collar_points[q]};
  EndFor
  Transfinite Curve {spokes[]} = hole_ring_layers + 1 Using Progression hole_ring_growth;
  For q In {0 : 3}
    q_next = (q + 1) % 4;
    hole_arcs[q] = newc;
    Circle(hole_arcs[q])   = {hole_points[q], hole_centre, hole_points[q_next]};
    collar_arcs[q] = newc;
    Circle(collar_arcs[q]) = {collar_points[q], hole_centre, collar_points[q_next]};
    loop = newll;
    Curve Loop(loop) = {spokes[q], collar_arcs[q], -spokes[q_next], -hole_arcs[q]};
    surface = news;
    Plane Surface(surface) = {loop};
    rings[] += surface;
  EndFor
  Transfinite Curve {hole_arcs[], collar_arcs[]} = hole_edges_per_quarter + 1;

  // Triangles between the rings.
  border = newll;
  Curve Loop(border) = {middle_sides[s], outer_arcs[s], -middle_sides[next], -inner_arcs[s]};
  hole = newll;
  Curve Loop(hole) = {collar_arcs[]};
  middles[s] = news;
  Plane Surface(middles[s]) = {border, hole};
EndFor

Transfinite Curve {bore_arcs[], inner_arcs[]} = bore_edges_per_sector + 1;
Transfinite Curve {rim_arcs[], outer_arcs[]}  = rim_edges_per_sector + 1;

Transfinite Surface {rings[]};
Recombine Surface {rings[]};

For s In {1 : bolt_holes - 1}
  Periodic Surface {middles[s]} = {middles[0]}
    Rotate {{0, 0, 1}, {0, 0, 0}, s * sector_angle};
EndFor

// ---- Meshing and file ----
// Only the faces of the physical surface and their nodes are written.

Physical Surface("flange_face") = {rings[], middles[]};

Mesh.Algorithm = 6;              // frontal Delaunay
Mesh.MeshSizeExtendFromBoundary = 1;
Mesh.MeshSizeFromPoints = 0;
Mesh.Smoothing = 20;
Mesh.RandomSeed = 1;
Mesh.MshFileVersion = 4.1;
Mesh.Binary = 0;
Mesh.SaveAll = 0;
