namespace tarn { int placeholder = 0; }
