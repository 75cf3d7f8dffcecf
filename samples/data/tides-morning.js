// Height of the water in metres over chart datum, every half hour from midnight to noon.
window.tideReadings = (window.tideReadings ?? []).concat([
  1.42, 1.21, 1.08, 1.04, 1.10, 1.28, 1.57, 1.96, 2.42, 2.93, 3.45, 3.94,
  4.36, 4.68, 4.86, 4.90, 4.79, 4.54, 4.18, 3.74, 3.26, 2.78, 2.33, 1.95,
]);
