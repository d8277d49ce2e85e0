using System;

namespace Nimb
{
    internal static unsafe class SmoothNormals
    {
        /// <summary>Normals from the triangles around each vertex, weighted by their areas. A vertex that none touches gets
        /// zeros.</summary>
        public static void Compute(ClipVertex* vertices, int vertexCount, uint* indices, int indexCount)
        {
            Clear(vertices, vertexCount);
            for (int i = 0; i + 2 < indexCount; i += 3)
            {
                AddTriangle(vertices + indices[i], vertices + indices[i + 1], vertices + indices[i + 2]);
            }
            for (int i = 0; i < vertexCount; ++i)
            {
                ClipVertex* v = vertices + i;
                float square = v->nx * v->nx + v->ny * v->ny + v->nz * v->nz;
                float scale = square > 0 ? (float)(1 / Math.Sqrt(square)) : 0;
                v->nx *= scale;
                v->ny *= scale;
                v->nz *= scale;
            }
        }

        public static void Clear(ClipVertex* vertices, int vertexCount)
        {
            for (int i = 0; i < vertexCount; ++i)
            {
                vertices[i].nx = vertices[i].ny = vertices[i].nz = 0;
            }
        }

        private static void AddTriangle(ClipVertex* a, ClipVertex* b, ClipVertex* c)
        {
            float ux = b->x - a->x, uy = b->y - a->y, uz = b->z - a->z;
            float vx = c->x - a->x, vy = c->y - a->y, vz = c->z - a->z;
            float x = uy * vz - uz * vy, y = uz * vx - ux * vz, z = ux * vy - uy * vx;
            Add(a, x, y, z);
            Add(b, x, y, z);
            Add(c, x, y, z);
        }

        private static void Add(ClipVertex* vertex, float x, float y, float z)
        {
            vertex->nx += x;
            vertex->ny += y;
            vertex->nz += z;
        }
    }
}
