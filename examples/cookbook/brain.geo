// The head of a small monkey as balls, one within the other. Lengths are cm.
// gmsh -3 brain.geo -o brain.msh
SetFactory("OpenCASCADE");
Sphere(1) = {0, 0, 0, 1.0};
Sphere(2) = {0, 0, 0, 1.3};
Sphere(3) = {0, 0, 0, 1.4};
Sphere(4) = {0, 0, 0, 1.6};
Sphere(5) = {0, 0, 0, 1.8};
BooleanFragments{ Volume{1:5}; Delete; }{}
Physical Volume("white") = {1};
Physical Volume("grey") = {2};
Physical Volume("liquor") = {3};
Physical Volume("skull") = {4};
Physical Volume("scalp") = {5};
Mesh.CharacteristicLengthMax = 0.25;
