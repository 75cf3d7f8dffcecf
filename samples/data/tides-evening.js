// The same from noon to midnight.
window.tideReadings = (window.tideReadings ?? []).concat([
  1.65, 1.44, 1.33, 1.32, 1.42, 1.63, 1.94, 2.34, 2.80, 3.29, 3.77, 4.20,
  4.55, 4.79, 4.90, 4.87, 4.70, 4.41, 4.03, 3.58, 3.11, 2.65, 2.23, 1.88,
]);
