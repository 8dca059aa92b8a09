/* mesh_of_points: points in memory made into a mesh from C, with options, progress, a report, and the mesh as arrays.
 *
 * With two arguments it reads the points from the first file and writes the mesh to the second one. */
#include <kel_c.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { ROWS = 120, COLUMNS = 240 };

/* A torus whose points lie on a grid of angles. */
static kel_status make_torus(kel_points** points) {
    const double turn = 6.28318530717958648;
    double* xyz = malloc(sizeof(double) * 3 * ROWS * COLUMNS);
    size_t n = 0;
    int i, j;
    kel_status status;
    if (xyz == NULL) return KEL_OUT_OF_MEMORY;
    for (i = 0; i < ROWS; ++i)
        for (j = 0; j < COLUMNS; ++j) {
            const double u = turn * i / ROWS, v = turn * j / COLUMNS, r = 2.0 + cos(u);
            xyz[n++] = r * cos(v);
            xyz[n++] = r * sin(v);
            xyz[n++] = sin(u);
        }
    status = kel_points_create(xyz, n / 3, points);
    free(xyz);
    return status;
}

/* Prints every tenth of the progress. A return value other than 0 would end the run. */
static int show_progress(const char* name, double fraction, void* data) {
    int* tenths = data;
    if ((int)(10.0 * fraction) > *tenths) {
        *tenths = (int)(10.0 * fraction);
        printf("%s: %d%%\n", name, 10 * *tenths);
    }
    return 0;
}

/* The area of the mesh, by its arrays; below 0 where there is no memory for them. */
static double area_of(kel_mesh* mesh) {
    size_t num_vertices = 0, num_triangles = 0, t;
    double* vertices;
    int32_t* triangles;
    double area = -1.0;
    if (kel_mesh_sizes(mesh, &num_vertices, &num_triangles) != KEL_OK) return area;
    vertices = malloc(sizeof(double) * 3 * num_vertices);
    triangles = malloc(sizeof(int32_t) * 3 * num_triangles);
    if (vertices != NULL && triangles != NULL && kel_mesh_arrays(mesh, vertices, triangles) == KEL_OK) {
        area = 0.0;
        for (t = 0; t < num_triangles; ++t) {
            const double *a = vertices + 3 * triangles[3 * t], *b = vertices + 3 * triangles[3 * t + 1],
                         *c = vertices + 3 * triangles[3 * t + 2];
            const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
            const double x = u[1] * v[2] - u[2] * v[1], y = u[2] * v[0] - u[0] * v[2], z = u[0] * v[1] - u[1] * v[0];
            area += 0.5 * sqrt(x * x + y * y + z * z);
        }
    }
    free(vertices);
    free(triangles);
    return area;
}

int main(int argc, char** argv) {
    kel_points* points = NULL;
    kel_mesh* mesh = NULL;
    kel_reconstruct_options options;
    kel_reconstruct_report report;
    int tenths = -1;

    kel_status status = argc == 3 ? kel_points_read(argv[1], &points) : make_torus(&points);
    if (status == KEL_OK) {
        kel_reconstruct_options_init(&options, sizeof options);
        options.factor = 1.2; /* cells a little wider than the points are apart */
        options.progress = show_progress;
        options.progress_data = &tenths;
        report.size = sizeof report;
        status = kel_reconstruct(points, &options, &report, &mesh);
    }
    if (status == KEL_OK && argc == 3) status = kel_mesh_write(mesh, argv[2], NULL);
    if (status == KEL_OK)
        printf("%lu points, %lu border edges, area %g\n", (unsigned long)report.points,
               (unsigned long)report.after.border_edges, area_of(mesh));
    else
        fprintf(stderr, "%s\n", kel_last_error());
    kel_mesh_free(mesh);
    kel_points_free(points);
    return status == KEL_OK ? 0 : 1;
}
