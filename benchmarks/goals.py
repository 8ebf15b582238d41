"""What the library is to reach: the rows of the table in docs/performance.md."""

from dataclasses import dataclass


@dataclass
class Goal:
    key: str  # what `benchmarks/report KEY` measures
    work: str
    ours: str  # name of the benchmark without BM_
    against: str  # in words
    baselines: list  # names behind the colon; the fastest counts
    least: float = 0  # so many times as fast
    most: float = 0  # or within so many times the time
    extra: float = 0  # seconds allowed for each item besides

    peer: str = ""  # the program that measures against another tool

    def names(self):
        call, rest = self.ours.split("/", 1)
        return ["BM_" + self.ours] + [f"BM_{call}:{b}{native}/{rest}" for b in self.baselines for native in ("", "@native")]

    def demanded(self):
        if self.least:
            return f"at least {self.least:g} times as fast"
        return f"within {self.most:g} times the time" + (f" and {self.extra * 1e6:g} µs a node and side" if self.extra else "")


ANGLE_KINDS = {"TH4": "tetrahedra", "PY5": "pyramids", "W6": "wedges", "H8": "hexahedra"}

GOALS = [
    Goal("volume", "`volume`, 5M tetrahedra, shuffled", "volume/TH4/shuffled/5000000",
         "a prefetched loop that also checks the IDs", ["bare_loop"], least=0.9),
    Goal("volume", "`volume`, 5M tetrahedra, in the order of the grid", "volume/TH4/grid/5000000",
         "the bare loop", ["bare_loop"], least=0.9),
    *[Goal("angles", f"`{call}`, 1M {name}", f"{call}/{kind}/shuffled/1000000", "a bare loop over the same formulas", ["bare_loop"], least=0.95)
      for call in ("solid_angles", "dihedral_angles") for kind, name in ANGLE_KINDS.items()],
    Goal("circumcenters", "`circumcenters`, 1M tetrahedra", "circumcenters/TH4/shuffled/1000000",
         "a bare loop over the same formulas", ["bare_loop"], least=0.95),
    *[Goal("quadratic", f"quadratic conversion, 1M {name}", f"convert_into_quadratic/{rest}",
           "the faster of open addressing and partitions", ["partitions", "open_addressing"], least=1)
      for name, rest in (("Delaunay tetrahedra", "TH4/delaunay/1000000"), ("hexahedra", "H8/shuffled/1000000"))],
    *[Goal("quadratic-tables", f"quadratic conversion, 1M {name}", f"convert_into_quadratic/{rest}",
           f"the same work with {title}", [table], least=2.5, peer="tables_peer")
      for name, rest in (("Delaunay tetrahedra", "TH4/delaunay/1000000"), ("hexahedra", "H8/shuffled/1000000"))
      for table, title in (("hopscotch_map", "tsl::hopscotch_map"), ("flat_hash_map", "abseil's flat_hash_map"))],
    Goal("gmsh", "quadratic conversion, 1M Delaunay tetrahedra", "convert_into_quadratic/TH4/delaunay/1000000",
         "Gmsh's setOrder", ["gmsh"], least=20, peer="gmsh_peer"),
    Goal("gmsh", "quadratic conversion, 125,000 hexahedra", "convert_into_quadratic/H8/shuffled/125000",
         "Gmsh's setOrder", ["gmsh"], least=20, peer="gmsh_peer"),
    *[Goal("split_into_H8", f"`split_into_H8`, 1M {name}", f"split_into_H8/{rest}",
           "partitions with the cut written directly", ["partitions"], least=0.8)
      for name, rest in (("Delaunay tetrahedra", "TH4/delaunay/1000000"), ("hexahedra", "H8/shuffled/1000000"))],
    Goal("gmsh", "`split_into_H8`, 1M Delaunay tetrahedra", "split_into_H8/TH4/delaunay/1000000",
         "Gmsh's refinement", ["gmsh"], least=20, peer="gmsh_peer"),
    Goal("gmsh", "`split_into_H8`, 125,000 hexahedra", "split_into_H8/H8/shuffled/125000",
         "Gmsh's refinement", ["gmsh"], least=20, peer="gmsh_peer"),
    *[Goal("get_neighbors", f"`get_neighbors`, {name} tetrahedra", f"get_neighbors/TH4/shuffled/{n}",
           "the fastest of counting sort, open addressing and sorting", ["counting_sort", "open_addressing", "sorting"], least=1)
      for name, n in (("1M", 1000000), ("5M", 5000000))],
    *[Goal("extrude", f"`{call}`, 1M faces by 10 layers", f"{call}/Q4/shuffled/1000000",
           "a bare loop that writes the same arrays into fresh memory in huge pages", ["bare_loop"], least=0.8)
      for call in ("extrude_translate", "extrude_rotate", "extrude_spiral", "extrude_normal", "extrude_line")],
    Goal("gmsh", "`extrude_translate`, 125,000 faces by 10 layers", "extrude_translate/Q4/grid/125000",
         "Gmsh's extruded mesh", ["gmsh"], least=15, peer="gmsh_peer"),
    Goal("vtk", "`extrude_translate`, 1M faces by 10 layers", "extrude_translate/Q4/shuffled/1000000",
         "10 passes of vtkLinearExtrusionFilter", ["vtkLinearExtrusionFilter"], least=15, peer="vtk_peer"),
    Goal("locate", "location of 1M points in 1M tetrahedra", "get_elements_containing_points/TH4/delaunay/1000000",
         "a bare walk from a uniform grid, the points in Morton order", ["grid_walk"], least=1),
    Goal("locate", "the same by nodes, search aids included", "get_elements_containing_points/TH4-nodes/delaunay/1000000",
         "the same walk, aids included", ["grid_walk"], least=1),
    Goal("cgal", "location of 1M points in 1M tetrahedra", "get_elements_containing_points/TH4/delaunay/1000000",
         "CGAL's locate, the points sorted in space", ["cgal"], least=1.5, peer="cgal_peer"),
    Goal("vtk", "location of 1M points in 1M tetrahedra", "get_elements_containing_points/TH4/delaunay/1000000",
         "the faster of vtkStaticCellLocator and vtkCellLocator", ["vtkStaticCellLocator", "vtkCellLocator"], least=10, peer="vtk_peer"),
    Goal("vtk", "the same by nodes, search aids included", "get_elements_containing_nodes/TH4/delaunay/1000000",
         "vtkStaticCellLocator, its building included", ["vtkStaticCellLocator"], least=10, peer="vtk_peer"),
    Goal("interpolate", "`interpolate`, 3 components, 1M points", "interpolate/TH4/delaunay/1000000",
         "their location", ["location"], most=1.15),
    Goal("vtk", "`interpolate`, 3 components, 1M points", "interpolate/TH4/delaunay/1000000",
         "vtkProbeFilter", ["vtkProbeFilter"], least=10, peer="vtk_peer"),
    Goal("interpolate_metrics", "`interpolate_metrics`, 1M points", "interpolate_metrics/TH4/delaunay/1000000",
         "their location and the calls of `dspev` alone", ["location_and_dspev"], most=1.1),
    *[Goal("duplicate", f"`duplicate_surface_nodes`, 1M tetrahedra, {name}", f"duplicate_surface_nodes/TH4-{variant}/shuffled/1000000",
           "the checks and the copy of the connectivity", ["checks_and_copy"], most=1.5, extra=2e-6)
      for name, variant in (("one side", "one-side"), ("both sides", "both-sides"))],
    *[Goal("flip", f"`flip`, 5M {name}", f"flip/{kind}/grid/5000000", "a bare loop in place", ["in_place"], least=0.9)
      for name, kind in (("tetrahedra", "TH4"), ("wedges", "W6"), ("hexahedra", "H8"))],
    *[Goal("hashed_table", f"hashed table alone, edges of 1M tetrahedra, {order}", f"hbuckets/TH4/{order}/1000000",
           "the fastest of std::unordered_map, tsl::hopscotch_map and abseil's flat_hash_map",
           ["unordered_map", "hopscotch_map", "flat_hash_map"], least=1)
      for order in ("grid", "shuffled", "delaunay")],
]
